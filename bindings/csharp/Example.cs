// Reads the card on the reader and prints a few lines; with the argument "watch", each card until
// Ctrl-C.
using System;
using System.IO;
using System.Text;
using System.Threading;
using IdcardReader;

static class Example
{
    // The card's characters as UTF-8, whatever the console's code page is and without a console too.
    static readonly TextWriter output = Utf8(Console.OpenStandardOutput());
    static readonly TextWriter errors = Utf8(Console.OpenStandardError());

    static int Main(string[] arguments)
    {
        bool watch = arguments.Length == 1 && arguments[0] == "watch";
        if (arguments.Length > 0 && !watch)
        {
            errors.WriteLine("Usage: Example [watch]");
            return 2;
        }
        var stop = new CancellationTokenSource();
        Console.CancelKeyPress += (sender, pressed) =>
        {
            pressed.Cancel = true;
            stop.Cancel();
        };
        try
        {
            using (var reader = new CardReader())
            {
                if (watch) reader.WatchAsync(Print, Explain, false, stop.Token).Wait();
                else Print(reader.Read(stop.Token));
            }
            return 0;
        }
        catch (CardReadException notRead)
        {
            Explain(notRead);
            return 1;
        }
        catch (OperationCanceledException)
        {
            return 1;
        }
        catch (LibraryNotLoadedException missing)
        {
            errors.WriteLine(missing.Message);
            return 2;
        }
    }

    static void Print(Card card)
    {
        output.WriteLine(card.Name + " " + card.EnglishName);
        output.WriteLine(card.IdNumber + ", valid until " + card.ValidUntil);
        output.WriteLine("photo: " + card.Photo.Length + " bytes");
    }

    static void Explain(CardReadException notRead)
    {
        errors.WriteLine(notRead.Message);
        errors.WriteLine(notRead.Cause);
        errors.WriteLine(notRead.Cure);
    }

    static TextWriter Utf8(Stream stream)
    {
        return new StreamWriter(stream, new UTF8Encoding(false)) { AutoFlush = true };
    }
}
