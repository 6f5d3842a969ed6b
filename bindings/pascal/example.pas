{ Reads the card on the reader and prints a few lines; with the argument "watch", each card until
  Ctrl-C, which ends the program. }
program example;

{$ifdef FPC}{$mode delphi}{$endif}
{$apptype console}

uses
  {$ifdef UNIX}cthreads,{$endif} SysUtils, idcardreader, idcardreader_library;

type
  TPrinter = class
    procedure Card(const Card: TCard);
    procedure Problem(Problem: ECardNotRead);
  end;

{ UTF-8, whatever the console's code page is. }
procedure Line(var Where: TextFile; const Text: UnicodeString);
begin
  WriteLn(Where, RawByteString(UTF8Encode(Text)));
  Flush(Where);
end;

procedure TPrinter.Card(const Card: TCard);
begin
  Line(Output, Card.Name + ' ' + Card.EnglishName);
  Line(Output, Card.IdNumber + ', valid until ' + Card.ValidUntil);
  Line(Output, 'photo: ' + UnicodeString(IntToStr(Length(Card.Photo))) + ' bytes');
end;

procedure TPrinter.Problem(Problem: ECardNotRead);
begin
  Line(ErrOutput, Problem.Text);
  Line(ErrOutput, Problem.Cause);
  Line(ErrOutput, Problem.Cure);
end;

var
  Reader: TCardReader;
  Printer: TPrinter;
begin
  {$ifdef FPC}
  SetTextCodePage(Output, CP_UTF8);  { else Line's bytes become the console's code page again }
  SetTextCodePage(ErrOutput, CP_UTF8);
  {$endif}
  if (ParamCount > 1) or ((ParamCount = 1) and (ParamStr(1) <> 'watch')) then
  begin
    Line(ErrOutput, 'Usage: example [watch]');
    Halt(2);
  end;
  Reader := nil;
  Printer := TPrinter.Create;
  try
    try
      Reader := TCardReader.Create;
      if ParamCount = 1 then
        Reader.Watch(Printer.Card, Printer.Problem)
      else
        Printer.Card(Reader.Read);
    except
      on NotRead: ECardNotRead do
      begin
        Printer.Problem(NotRead);
        ExitCode := 1;
      end;
      on Missing: ELibraryNotLoaded do
      begin
        Line(ErrOutput, UnicodeString(Missing.Message));
        ExitCode := 2;
      end;
    end;
  finally
    Reader.Free;
    Printer.Free;
  end;
end.
