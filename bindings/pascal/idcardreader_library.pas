{ Loads the library at run time and has its functions under their own names; for TCardReader, and for
  programs that call them as they stand. }
unit idcardreader_library;

{$ifdef FPC}{$mode delphi}{$endif}

interface

uses
  {$ifdef MSWINDOWS}Windows,{$endif} SysUtils;

type
  ELibraryNotLoaded = class(Exception);

  TTextFunction = function: PAnsiChar; cdecl;
  TFieldFunction = function(Buffer: PAnsiChar): Integer; cdecl;
  TNumberFunction = function: Integer; cdecl;

var
  readCardStart: function(Mode: Integer): Integer; cdecl;
  readCardStop: procedure; cdecl;
  readCardErrorInfo: function(Code: Integer): PAnsiChar; cdecl;
  readCardGetLastError, readCardGetDN: TTextFunction;
  readCardGetUID: function(Mode: Integer; Buffer: PAnsiChar): Integer; cdecl;
  readCardGetDeviceStatus, CloseComm, GetNewCardType: TNumberFunction;
  readCardSetDeviceType: function(Kind: Integer): Integer; cdecl;
  SDT_ReadBaseFPMsg: function(Port: Integer; Text: PByte; var TextLength: Cardinal; Photo: PByte;
    var PhotoLength: Cardinal; Fingerprint: PByte; var FingerprintLength: Cardinal): Integer; cdecl;
  GetNewPhotoRaw: function(Photo: PByte; var PhotoLength: Cardinal): Integer; cdecl;
  GetPeopleName, GetPeopleSex, GetPeopleNation, GetPeopleBirthday, GetPeopleAddress,
    GetPeopleIDCode, GetStartDate, GetEndDate, GetDepartment: TTextFunction;
  GetNewPassNum, GetNewPeopleNameEn, GetNewPeopleCountry, GetNewPeopleCountryCode: TFieldFunction;

{ Once for the process; it stays loaded. }
procedure LoadIdcardreader(const LibraryFile: string);

{ As Windows' code page 936 has it. }
function DecodeGbk(const Text: RawByteString): UnicodeString;
function DecodeUtf8(const Text: RawByteString): UnicodeString;

implementation

{$ifdef UNIX}
uses
  cwstring, dynlibs;
{$endif}

var
  Loaded: {$ifdef MSWINDOWS}HMODULE{$else}TLibHandle{$endif} = 0;

function Open(const Name: string): Boolean;
begin
{$ifdef MSWINDOWS}
  { A file with its folder finds its neighbours there. }
  if ExtractFilePath(Name) <> '' then
    Loaded := LoadLibraryExW(PWideChar(UnicodeString(Name)), 0, 8)
  else
    Loaded := LoadLibraryExW(PWideChar(UnicodeString(Name)), 0, 0);
{$else}
  Loaded := LoadLibrary(Name);
{$endif}
  Result := Loaded <> 0;
end;

procedure Bind(var FunctionVariable; const Name: AnsiString);
var
  Found: Pointer absolute FunctionVariable;
begin
{$ifdef MSWINDOWS}
  Found := GetProcAddress(Loaded, PAnsiChar(Name));
{$else}
  Found := GetProcedureAddress(Loaded, Name);
{$endif}
  if Found = nil then
    raise ELibraryNotLoaded.Create('The library lacks the function ' + string(Name));
end;

procedure LoadIdcardreader(const LibraryFile: string);
var
  Stated: string;
begin
  if SizeOf(Pointer) <> 8 then
    raise ELibraryNotLoaded.Create('The library is 64-bit, and this program is not.');
  if Loaded <> 0 then
    Exit;
  Stated := LibraryFile;
  if Stated = '' then
    Stated := GetEnvironmentVariable('IDCARDREADER_LIBRARY');
  if Stated <> '' then
    Open(Stated)
  else
{$ifdef MSWINDOWS}
    Open('idcardreader.dll');
{$else}
    if not Open('libidcardreader.so.2') then
      Open('libidcardreader.so');
{$endif}
  if Loaded = 0 then
    raise ELibraryNotLoaded.Create('The library cannot be loaded ' + Stated +
      ': state its path, or set IDCARDREADER_LIBRARY to it.');
  Bind(readCardStart, 'readCardStart');
  Bind(readCardStop, 'readCardStop');
  Bind(readCardErrorInfo, 'readCardErrorInfo');
  Bind(readCardGetLastError, 'readCardGetLastError');
  Bind(readCardGetDN, 'readCardGetDN');
  Bind(readCardGetUID, 'readCardGetUID');
  Bind(readCardGetDeviceStatus, 'readCardGetDeviceStatus');
  Bind(CloseComm, 'CloseComm');
  Bind(GetNewCardType, 'GetNewCardType');
  Bind(readCardSetDeviceType, 'readCardSetDeviceType');
  Bind(SDT_ReadBaseFPMsg, 'SDT_ReadBaseFPMsg');
  Bind(GetNewPhotoRaw, 'GetNewPhotoRaw');
  Bind(GetPeopleName, 'GetPeopleName');
  Bind(GetPeopleSex, 'GetPeopleSex');
  Bind(GetPeopleNation, 'GetPeopleNation');
  Bind(GetPeopleBirthday, 'GetPeopleBirthday');
  Bind(GetPeopleAddress, 'GetPeopleAddress');
  Bind(GetPeopleIDCode, 'GetPeopleIDCode');
  Bind(GetStartDate, 'GetStartDate');
  Bind(GetEndDate, 'GetEndDate');
  Bind(GetDepartment, 'GetDepartment');
  Bind(GetNewPassNum, 'GetNewPassNum');
  Bind(GetNewPeopleNameEn, 'GetNewPeopleNameEn');
  Bind(GetNewPeopleCountry, 'GetNewPeopleCountry');
  Bind(GetNewPeopleCountryCode, 'GetNewPeopleCountryCode');
end;

function Decoded(Text: RawByteString; CodePage: Word): UnicodeString;
begin
  SetCodePage(Text, CodePage, False);
  Result := UnicodeString(Text);
end;

function DecodeUtf8(const Text: RawByteString): UnicodeString;
begin
  Result := Decoded(Text, 65001);
end;

{$ifdef MSWINDOWS}
function DecodeGbk(const Text: RawByteString): UnicodeString;
begin
  Result := Decoded(Text, 936);
end;
{$else}
{ What Windows makes of the cells that GBK leaves to its users or unassigned: private characters, which
  old cards carry and other decoders refuse. #0: an ordinary cell. }
function PrivateCharacter(Lead, Trail: Integer): WideChar;
const
  Unassigned: array[0..51] of Integer = (
    $A2AB, $A2B0, $A2E3, $A2E4, $A2EF, $A2F0, $A2FD, $A2FE, $A4F4, $A4FE, $A5F7, $A5FE, $A6B9, $A6C0,
    $A6D9, $A6DF, $A6EC, $A6ED, $A6F3, $A6F3, $A6F6, $A6FE, $A7C2, $A7D0, $A7F2, $A7FE, $A896, $A8A0,
    $A8BC, $A8BC, $A8BF, $A8BF, $A8C1, $A8C4, $A8EA, $A8FE, $A958, $A958, $A95B, $A95B, $A95D, $A95F,
    $A989, $A995, $A997, $A9A3, $A9F0, $A9FE, $D7FA, $D7FE, $FE50, $FEA0);
var
  Code, Next, I: Integer;
begin
  Code := Lead shl 8 or Trail;
  if (Lead >= $AA) and (Lead <= $AF) and (Trail >= $A1) then
    Exit(WideChar($E000 + (Lead - $AA) * 94 + Trail - $A1));
  if (Lead >= $F8) and (Trail >= $A1) then
    Exit(WideChar($E234 + (Lead - $F8) * 94 + Trail - $A1));
  if (Lead >= $A1) and (Lead <= $A7) and (Trail <= $A0) then
    Exit(WideChar($E4C6 + (Lead - $A1) * 96 + Trail - $40 - Ord(Trail > $7F)));
  Next := $E766;
  I := 0;
  while I < Length(Unassigned) do
  begin
    if (Code >= Unassigned[I]) and (Code <= Unassigned[I + 1]) then
      Exit(WideChar(Next + Code - Unassigned[I] - Ord(Code > $FE7F)));
    Inc(Next, Unassigned[I + 1] - Unassigned[I] + 1);
    Inc(I, 2);
  end;
  Result := #0;
end;

function DecodeGbk(const Text: RawByteString): UnicodeString;
var
  I, Lead, Trail: Integer;
begin
  Result := '';
  I := 1;
  while I <= Length(Text) do
  begin
    Lead := Ord(Text[I]);
    if Lead < $80 then
      Result := Result + WideChar(Lead)
    else if Lead = $80 then
      Result := Result + WideChar($20AC)
    else if Lead = $FF then
      Result := Result + WideChar($F8F5)
    else if I = Length(Text) then
      Result := Result + '?'
    else
    begin
      Inc(I);
      Trail := Ord(Text[I]);
      if (Trail < $40) or (Trail = $7F) or (Trail = $FF) then
        Result := Result + '?'
      else if PrivateCharacter(Lead, Trail) <> #0 then
        Result := Result + PrivateCharacter(Lead, Trail)
      else
        Result := Result + Decoded(Copy(Text, I - 1, 2), 936);
    end;
    Inc(I);
  end;
end;
{$endif}

end.
