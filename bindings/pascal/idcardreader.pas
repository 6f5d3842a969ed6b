{ Reads cards in Free Pascal and Delphi, 64-bit: TCardReader for programs that are written anew, and
  the library's functions themselves. The library is loaded at run time.

      Reader := TCardReader.Create;
      Card := Reader.Read;                 raises ECardNotRead, ECardCancelled

  A TThread that watches ends when another one calls Reader.Cancel. }
unit idcardreader;

{$ifdef FPC}{$mode delphi}{$codepage utf8}{$endif}

interface

uses
  SysUtils, Classes, SyncObjs, idcardreader_library;

type
  TCardType = (ctNone, ctResident, ctResidencePermit, ctPermanentOld, ctPermanentNew);

  { What one card holds. A field that the card has not is empty; dates are YYYYMMDD. }
  TCard = record
    CardType: TCardType;
    Dn, Name, EnglishName, Sex, Nation, Country, CountryCode, Birthday, Address, IdNumber,
      PassNumber, Authority, ValidFrom, ValidUntil: UnicodeString;
    TextBlock, Photo, Fingerprint: TBytes;
  end;

  { A card was not read. The message is for programs whose strings hold it; Text always does. }
  ECardNotRead = class(Exception)
  public
    Code: Integer;  { 0: there is none, and no cause and cure either }
    Text, Cause, Cure, CauseZh, CureZh: UnicodeString;
  end;

  { A read was cancelled, or the reader was closed. }
  ECardCancelled = class(Exception);

  { By the thread that watches; may use the reader. }
  TCardEvent = procedure(const Card: TCard) of object;
  TProblemEvent = procedure(Problem: ECardNotRead) of object;

  { The library and its engine, of which a process has one. May be used by several threads; one at
    a time talks to the library. }
  TCardReader = class
  private type
    TStop = record
      Since: Integer;
      Event: TEvent;
    end;
  private
    FSerial, FPrepared: Boolean;
    FCancels: Integer;  { counts up: what began before is cancelled }
    FGate: TCriticalSection;
    procedure Prepare;
    function Begun(CancelEvent: TEvent): TStop;
    function Cancelled(const Stop: TStop): Boolean;
    procedure Enter(const Stop: TStop);
    procedure Leave;
    function ReadNow(const Stop: TStop): TCard;
    procedure Pause(const Stop: TStop; Milliseconds: Integer);
    function Watched(const OnProblem: TProblemEvent; Problem: ECardNotRead; Lasting: Boolean;
      var Complaint: UnicodeString): Boolean;
    function SearchOnce(const Stop: TStop; const OnCard: TCardEvent; const OnProblem: TProblemEvent;
      var Present: AnsiString; var Complaint: UnicodeString): Integer;
    function PollOnce(const Stop: TStop; const OnCard: TCardEvent; const OnProblem: TProblemEvent;
      var Present: AnsiString; var Complaint: UnicodeString): Integer;
  public
    { LibraryFile: empty for the one that the environment variable IDCARDREADER_LIBRARY names, else
      the one that the system finds by its name. Raises ELibraryNotLoaded. }
    constructor Create(const LibraryFile: string = ''; SerialReader: Boolean = False);
    destructor Destroy; override;
    { Reads the card that lies on the reader, unless the event is set, or set meanwhile. }
    function Read(CancelEvent: TEvent = nil): TCard;
    { Hands out each card once until Cancel or Close, also while the reader is unplugged and plugged
      in. Problems are told once for as long as they stay the same. Polling: by whole reads, for
      serial readers. }
    procedure Watch(OnCard: TCardEvent; OnProblem: TProblemEvent = nil; Polling: Boolean = False;
      CancelEvent: TEvent = nil);
    { From any thread: ends what others do at this moment. }
    procedure Cancel;
    { Cancels and gives everything back. The next call begins anew. }
    procedure Close;
  end;

procedure SavePhoto(const Card: TCard; const FileName: string);

implementation

const
  BetweenAttempts = 300;  { milliseconds }
  WhileCardStays = 50;
  NoCard = 40;
  ReaderOpened = 1;

type
  TStatusCode = record
    code: Integer;
    cause, cure, causeZh, cureZh: UnicodeString;
  end;

const
{$I idcardreader_codes.inc}

var
  Engine: TCriticalSection;

{ Stops a read that runs in the thread that made this, once it is cancelled: again and again, since a
  stop that comes before the read has begun has no effect. }
type
  TStopper = class(TThread)
  private
    FReader: TCardReader;
    FStop: TCardReader.TStop;
    FOver: TEvent;
  protected
    procedure Execute; override;
  public
    constructor Create(Reader: TCardReader; const Stop: TCardReader.TStop);
    destructor Destroy; override;
  end;

  { The library waits for a card up to a second, whoever stops it, so a search has a thread of its
    own, and a cancelled watch leaves it to its end; until then the engine is taken. Its thread and
    the watch share what comes out of it; the last one frees it. }
  TOutcome = class
  public
    Users: Integer;
    Over: TEvent;
    Left, Found: Boolean;
    Problem: ECardNotRead;
    constructor Create;
    destructor Destroy; override;
    procedure Release;
  end;

  TSearch = class(TThread)
  private
    FReader: TCardReader;
    FOutcome: TOutcome;
  protected
    procedure Execute; override;
  end;

function FetchError: ECardNotRead;
var
  Message_, Known, CodeText: RawByteString;
  Candidate, I: Integer;
begin
  Message_ := readCardGetLastError;
  CodeText := '';
  Result := ECardNotRead.Create('');
  for Candidate := 2 to 55 do
  begin
    Known := readCardErrorInfo(Candidate);
    if (Length(Known) > Length(CodeText)) and (Copy(Message_, 1, Length(Known)) = Known) then
    begin
      CodeText := Known;
      Result.Code := Candidate;
    end;
  end;
  { The text of the code mostly stands there again, with the details. }
  if (CodeText <> '') and
    (Copy(Message_, Length(CodeText) + 1, Length(CodeText)) = CodeText) then
    Delete(Message_, 1, Length(CodeText));
  Result.Text := DecodeGbk(Message_);
  Result.Message := string(Result.Text);
  for I := Low(StatusCodes) to High(StatusCodes) do
    if StatusCodes[I].code = Result.Code then
    begin
      Result.Cause := StatusCodes[I].cause;
      Result.Cure := StatusCodes[I].cure;
      Result.CauseZh := StatusCodes[I].causeZh;
      Result.CureZh := StatusCodes[I].cureZh;
    end;
end;

function Buffered(Fill: TFieldFunction): RawByteString;
var
  Buffer: array[0..511] of AnsiChar;
begin
  FillChar(Buffer, SizeOf(Buffer), 0);
  if Fill(@Buffer[0]) <> 0 then
    Result := PAnsiChar(@Buffer[0])
  else
    Result := '';
end;

{ All at once: the library clears the fields two seconds behind the read. }
function FetchCard: TCard;
var
  TextLength, PhotoLength, FingerprintLength: Cardinal;
begin
  Result.CardType := TCardType(GetNewCardType);
  Result.Name := DecodeGbk(GetPeopleName);
  Result.EnglishName := DecodeUtf8(Buffered(GetNewPeopleNameEn));
  Result.Sex := DecodeGbk(GetPeopleSex);
  Result.Nation := DecodeGbk(GetPeopleNation);
  Result.Country := DecodeGbk(Buffered(GetNewPeopleCountry));
  Result.CountryCode := DecodeGbk(Buffered(GetNewPeopleCountryCode));
  Result.Birthday := DecodeUtf8(GetPeopleBirthday);
  Result.Address := DecodeGbk(GetPeopleAddress);
  Result.IdNumber := DecodeUtf8(GetPeopleIDCode);
  Result.PassNumber := DecodeUtf8(Buffered(GetNewPassNum));
  Result.Authority := DecodeGbk(GetDepartment);
  Result.ValidFrom := DecodeUtf8(GetStartDate);
  Result.ValidUntil := DecodeGbk(GetEndDate);
  Result.Dn := DecodeUtf8(readCardGetDN);
  SetLength(Result.TextBlock, 256);
  SetLength(Result.Photo, 1024);
  SetLength(Result.Fingerprint, 1024);
  TextLength := 0;
  PhotoLength := 0;
  FingerprintLength := 0;
  SDT_ReadBaseFPMsg(0, @Result.TextBlock[0], TextLength, @Result.Photo[0], PhotoLength,
    @Result.Fingerprint[0], FingerprintLength);
  { A card without a text block yields its photo this way only. }
  if PhotoLength = 0 then
    GetNewPhotoRaw(@Result.Photo[0], PhotoLength);
  SetLength(Result.TextBlock, TextLength);
  SetLength(Result.Photo, PhotoLength);
  SetLength(Result.Fingerprint, FingerprintLength);
end;

function ReadHere: TCard;
begin
  if readCardStart(0) = 0 then
    raise FetchError;
  Result := FetchCard;
end;

{ TStopper }

constructor TStopper.Create(Reader: TCardReader; const Stop: TCardReader.TStop);
begin
  FReader := Reader;
  FStop := Stop;
  FOver := TEvent.Create(nil, True, False, '');
  inherited Create(False);
end;

destructor TStopper.Destroy;
begin
  FOver.SetEvent;
  { On the main thread Free Pascal's WaitFor looks only once in 100 ms. }
  while not Finished do
    Sleep(1);
  inherited Destroy;
  FOver.Free;
end;

procedure TStopper.Execute;
begin
  while FOver.WaitFor(10) = wrTimeout do
    if FReader.Cancelled(FStop) then
      readCardStop;
end;

{ TOutcome }

constructor TOutcome.Create;
begin
  Users := 2;
  Over := TEvent.Create(nil, True, False, '');
end;

destructor TOutcome.Destroy;
begin
  Over.Free;
  Problem.Free;
  inherited Destroy;
end;

procedure TOutcome.Release;
begin
  if {$ifdef FPC}InterlockedDecrement{$else}AtomicDecrement{$endif}(Users) = 0 then
    Free;
end;

{ TSearch }

procedure TSearch.Execute;
begin
  Engine.Enter;
  try
    if not FOutcome.Left then
    begin
      FReader.Prepare;
      FOutcome.Found := readCardStart(1) <> 0;
      if not FOutcome.Found and (readCardGetDeviceStatus <> ReaderOpened) then
        FOutcome.Problem := FetchError;
    end;
  finally
    FOutcome.Over.SetEvent;
    Engine.Leave;
  end;
  FOutcome.Release;
end;

{ TCardReader }

constructor TCardReader.Create(const LibraryFile: string; SerialReader: Boolean);
begin
  LoadIdcardreader(LibraryFile);
  FSerial := SerialReader;
  FGate := TCriticalSection.Create;
end;

destructor TCardReader.Destroy;
begin
  if FGate <> nil then
    Close;
  FGate.Free;
  inherited Destroy;
end;

procedure TCardReader.Prepare;
begin
  if not FPrepared and FSerial then
    readCardSetDeviceType(1);
  FPrepared := True;
end;

function TCardReader.Cancelled(const Stop: TStop): Boolean;
begin
  FGate.Enter;
  Result := FCancels <> Stop.Since;
  FGate.Leave;
  if Stop.Event <> nil then
    Result := Result or (Stop.Event.WaitFor(0) = wrSignaled);
end;

function TCardReader.Begun(CancelEvent: TEvent): TCardReader.TStop;
begin
  FGate.Enter;
  Result.Since := FCancels;
  FGate.Leave;
  Result.Event := CancelEvent;
end;

procedure TCardReader.Enter(const Stop: TStop);
begin
  while not Engine.TryEnter do
  begin
    if Cancelled(Stop) then
      raise ECardCancelled.Create('cancelled');
    Sleep(5);
  end;
  if Cancelled(Stop) then
  begin
    Engine.Leave;
    raise ECardCancelled.Create('cancelled');
  end;
  Prepare;
end;

procedure TCardReader.Leave;
begin
  Engine.Leave;
end;

function TCardReader.ReadNow(const Stop: TStop): TCard;
var
  Stopper: TStopper;
begin
  Stopper := TStopper.Create(Self, Stop);
  try
    try
      Result := ReadHere;
    except
      on ECardNotRead do
      begin
        if Cancelled(Stop) then
          raise ECardCancelled.Create('cancelled');
        raise;
      end;
    end;
  finally
    Stopper.Free;
  end;
end;

function TCardReader.Read(CancelEvent: TEvent): TCard;
var
  Stop: TStop;
begin
  Stop := Begun(CancelEvent);
  Enter(Stop);
  try
    Result := ReadNow(Stop);
  finally
    Leave;
  end;
end;

procedure TCardReader.Cancel;
begin
  FGate.Enter;
  Inc(FCancels);
  FGate.Leave;
end;

procedure TCardReader.Close;
begin
  Cancel;
  Engine.Enter;
  CloseComm;
  FPrepared := False;
  Engine.Leave;
end;

procedure TCardReader.Pause(const Stop: TStop; Milliseconds: Integer);
begin
  while (Milliseconds > 0) and not Cancelled(Stop) do
  begin
    Sleep(10);
    Dec(Milliseconds, 10);
  end;
end;

{ Tells the problem unless it was told before and still holds. }
function TCardReader.Watched(const OnProblem: TProblemEvent; Problem: ECardNotRead;
  Lasting: Boolean; var Complaint: UnicodeString): Boolean;
begin
  Result := not (Lasting and (Problem.Text = Complaint));
  if Lasting then
    Complaint := Problem.Text;
  if Result and Assigned(OnProblem) then
    OnProblem(Problem);
end;

procedure TCardReader.Watch(OnCard: TCardEvent; OnProblem: TProblemEvent; Polling: Boolean;
  CancelEvent: TEvent);
var
  Stop: TStop;
  Present: AnsiString;
  Complaint: UnicodeString;
begin
  Stop := Begun(CancelEvent);
  Present := '';
  Complaint := '';
  try
    while not Cancelled(Stop) do
      if Polling then
        Pause(Stop, PollOnce(Stop, OnCard, OnProblem, Present, Complaint))
      else
        Pause(Stop, SearchOnce(Stop, OnCard, OnProblem, Present, Complaint));
  except
    on ECardCancelled do;
  end;
end;

{ The reader tells of a card by itself. A card that stays may be told of again and is not read
  again; it has gone when the reader finds no number. The result is the pause behind it. }
function TCardReader.SearchOnce(const Stop: TStop; const OnCard: TCardEvent;
  const OnProblem: TProblemEvent; var Present: AnsiString; var Complaint: UnicodeString): Integer;
var
  Search: TSearch;
  Outcome: TOutcome;
  Found, Told: Boolean;
  Uid: array[0..120] of AnsiChar;
  Card: TCard;
  Problem: ECardNotRead;
begin
  Result := 0;
  Told := False;
  Outcome := TOutcome.Create;
  Search := TSearch.Create(True);
  Search.FreeOnTerminate := True;
  Search.FReader := Self;
  Search.FOutcome := Outcome;
  Search.Start;
  try
    while Outcome.Over.WaitFor(10) = wrTimeout do
      if Cancelled(Stop) then
      begin
        Outcome.Left := True;
        readCardStop;
        Exit;
      end;
    Found := Outcome.Found;
    Problem := Outcome.Problem;
    Outcome.Problem := nil;
  finally
    Outcome.Release;
  end;
  if Cancelled(Stop) then
  begin
    Problem.Free;
    Exit;
  end;
  if Problem <> nil then
  try
    Present := '';
    Watched(OnProblem, Problem, True, Complaint);
    Exit(BetweenAttempts);
  finally
    Problem.Free;
  end;
  Complaint := '';
  if not Found and (Present = '') then
    Exit;
  FillChar(Uid, SizeOf(Uid), 0);
  try
    Enter(Stop);
    try
      readCardGetUID(0, @Uid[0]);
      if (PAnsiChar(@Uid[0]) = Present) then
        Exit(WhileCardStays);
      Present := PAnsiChar(@Uid[0]);
      if not Found or (Present = '') then
        Exit;
      Card := ReadNow(Stop);
      Told := True;
    finally
      Leave;
    end;
  except
    on Failed: ECardNotRead do
      Watched(OnProblem, Failed, False, Complaint);
  end;
  if Told then
    OnCard(Card);
end;

{ A serial reader is asked by whole reads; the chip's number tells one card from the next. }
function TCardReader.PollOnce(const Stop: TStop; const OnCard: TCardEvent;
  const OnProblem: TProblemEvent; var Present: AnsiString; var Complaint: UnicodeString): Integer;
var
  Card: TCard;
  Another: Boolean;
begin
  Result := BetweenAttempts;
  Another := False;
  try
    Enter(Stop);
    try
      Card := ReadNow(Stop);
    finally
      Leave;
    end;
    Another := AnsiString(Card.Dn) <> Present;
    Present := AnsiString(Card.Dn);
    Complaint := '';
  except
    on Failed: ECardNotRead do
    begin
      Present := '';
      if Failed.Code = NoCard then
        Complaint := ''
      else
        Watched(OnProblem, Failed, True, Complaint);
    end;
  end;
  if Another then
    OnCard(Card);
end;

procedure SavePhoto(const Card: TCard; const FileName: string);
var
  Stream: TFileStream;
begin
  Stream := TFileStream.Create(FileName, fmCreate);
  try
    if Length(Card.Photo) > 0 then
      Stream.WriteBuffer(Card.Photo[0], Length(Card.Photo));
  finally
    Stream.Free;
  end;
end;

initialization
  Engine := TCriticalSection.Create;
end.
