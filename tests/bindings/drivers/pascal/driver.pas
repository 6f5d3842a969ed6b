{ Does the commands of its arguments, in their order, through idcardreader.pas. }
program driver;

{$mode delphi}

uses
  {$ifdef UNIX}cthreads,{$endif} SysUtils, Classes, SyncObjs, idcardreader, idcardreader_library;

type
  { Shows what a watch tells, and cancels it. }
  TWatcher = class
    Left: Integer;
    Stop: TEvent;
    Since: QWord;
    procedure Card(const Card: TCard);
    procedure Problem(Problem: ECardNotRead);
    procedure Cancel;
  end;

  TCanceller = class(TThread)
    Watcher: TWatcher;
    Milliseconds: Integer;
    procedure Execute; override;
  end;

var
  Reader: TCardReader;
  Last: TCard;

procedure Line(const Key: AnsiString; const Value: UnicodeString);
begin
  WriteLn(Key, ': ', RawByteString(UTF8Encode(Value)));
end;

procedure Finish;
begin
  WriteLn('end');
  Flush(Output);
end;

function Hex(const Block: TBytes): UnicodeString;
var
  I: Integer;
begin
  Result := '';
  for I := 0 to High(Block) do
    Result := Result + UnicodeString(LowerCase(IntToHex(Block[I], 2)));
end;

procedure Print(const Card: TCard);
begin
  WriteLn('card');
  Line('type', UnicodeString(IntToStr(Ord(Card.CardType))));
  Line('dn', Card.Dn);
  Line('name', Card.Name);
  Line('englishName', Card.EnglishName);
  Line('sex', Card.Sex);
  Line('nation', Card.Nation);
  Line('country', Card.Country);
  Line('countryCode', Card.CountryCode);
  Line('birthday', Card.Birthday);
  Line('address', Card.Address);
  Line('idNumber', Card.IdNumber);
  Line('passNumber', Card.PassNumber);
  Line('authority', Card.Authority);
  Line('validFrom', Card.ValidFrom);
  Line('validUntil', Card.ValidUntil);
  Line('textBlock', Hex(Card.TextBlock));
  Line('photo', Hex(Card.Photo));
  Line('fingerprint', Hex(Card.Fingerprint));
  Finish;
end;

procedure PrintError(Error: ECardNotRead);
begin
  WriteLn('error');
  Line('code', UnicodeString(IntToStr(Error.Code)));
  Line('text', Error.Text);
  Line('cause', Error.Cause);
  Line('cure', Error.Cure);
  Line('causeZh', Error.CauseZh);
  Line('cureZh', Error.CureZh);
  Finish;
end;

procedure PrintCancelled(Since: QWord);
begin
  WriteLn('cancelled');
  Line('ms', UnicodeString(IntToStr(GetTickCount64 - Since)));
  Finish;
end;

procedure TWatcher.Cancel;
begin
  Since := GetTickCount64;
  Stop.SetEvent;
end;

procedure TWatcher.Card(const Card: TCard);
begin
  Last := Card;
  Print(Card);
  Dec(Left);
  if Left = 0 then
    Cancel;
end;

procedure TWatcher.Problem(Problem: ECardNotRead);
begin
  PrintError(Problem);
end;

procedure TCanceller.Execute;
begin
  Sleep(Milliseconds);
  Watcher.Cancel;
end;

procedure Read(CancelEvent: TEvent; Watcher: TWatcher);
begin
  try
    Last := Reader.Read(CancelEvent);
    Print(Last);
  except
    on Error: ECardNotRead do
      PrintError(Error);
    on ECardCancelled do
      PrintCancelled(Watcher.Since);
  end;
end;

{ Watch: cancelled after so many cards or, with 0, after some time, as a read is. }
procedure Cancellable(Watching: Boolean; Count, Milliseconds: Integer; Polling: Boolean);
var
  Watcher: TWatcher;
  Canceller: TCanceller;
begin
  Watcher := TWatcher.Create;
  Watcher.Left := Count;
  Watcher.Stop := TEvent.Create(nil, True, False, '');
  Canceller := TCanceller.Create(True);
  Canceller.Watcher := Watcher;
  Canceller.Milliseconds := Milliseconds;
  if Count = 0 then
    Canceller.Start;
  if Watching then
  begin
    Reader.Watch(Watcher.Card, Watcher.Problem, Polling, Watcher.Stop);
    PrintCancelled(Watcher.Since);
  end
  else
  begin
    { Not WaitFor, which here looks only once in 100 ms. }
    while (Milliseconds = 0) and not Canceller.Finished do
      Sleep(1);
    Read(Watcher.Stop, Watcher);
  end;
  Canceller.Free;
  Watcher.Stop.Free;
  Watcher.Free;
end;

function Execute(const Name, Value: string): Boolean;
begin
  Result := True;
  if Name = 'read' then
    Read(nil, nil)
  else if Name = 'photo' then
  begin
    SavePhoto(Last, Value);
    WriteLn('photo');
    Line('bytes', UnicodeString(IntToStr(Length(Last.Photo))));
    Finish;
  end
  else if Name = 'cancel-read' then
    Cancellable(False, 0, StrToInt(Value), False)
  else if Name = 'watch' then
    Cancellable(True, StrToInt(Value), 0, False)
  else if Name = 'watch-polling' then
    Cancellable(True, StrToInt(Value), 0, True)
  else if Name = 'cancel-watch' then
    Cancellable(True, 0, StrToInt(Value), False)
  else if Name = 'close' then
    Reader.Close
  else
    Result := False;
end;

var
  I, Equals: Integer;
  Argument: string;
begin
  SetTextCodePage(Output, CP_UTF8);
  try
    Reader := TCardReader.Create;
  except
    on Missing: ELibraryNotLoaded do
    begin
      WriteLn(StdErr, Missing.Message);
      Halt(2);
    end;
  end;
  for I := 1 to ParamCount do
  begin
    Argument := ParamStr(I);
    Equals := Pos('=', Argument);
    if Equals = 0 then
      Equals := Length(Argument) + 1;
    if not Execute(Copy(Argument, 1, Equals - 1), Copy(Argument, Equals + 1, MaxInt)) then
    begin
      WriteLn(StdErr, 'What is ', Argument, '?');
      Reader.Free;
      Halt(2);
    end;
  end;
  Reader.Free;
end.
