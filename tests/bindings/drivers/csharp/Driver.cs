// Does the commands of its arguments, in their order, through IdcardReader.cs.
using System;
using System.Diagnostics;
using System.IO;
using System.Text;
using System.Threading;
using System.Threading.Tasks;
using IdcardReader;

static class Driver
{
    static TextWriter output;
    static CardReader reader;
    static Card last;

    static int Main(string[] arguments)
    {
        output = new StreamWriter(Console.OpenStandardOutput(), new UTF8Encoding(false));
        TextWriter errors = new StreamWriter(Console.OpenStandardError(), new UTF8Encoding(false));
        try
        {
            using (reader = new CardReader())
            {
                foreach (string argument in arguments)
                {
                    int equals = argument.IndexOf('=');
                    string name = equals < 0 ? argument : argument.Substring(0, equals);
                    if (Do(name, argument.Substring(equals + 1))) continue;
                    errors.WriteLine("What is " + argument + "?");
                    errors.Flush();
                    return 2;
                }
            }
            return 0;
        }
        catch (LibraryNotLoadedException missing)
        {
            errors.WriteLine(missing.Message);
            errors.Flush();
            return 2;
        }
    }

    static bool Do(string name, string value)
    {
        switch (name)
        {
            case "read": Read(() => reader.Read(), null); return true;
            case "photo": SavePhoto(value); return true;
            case "cancel-read": CancelRead(int.Parse(value)); return true;
            case "watch": Watch(int.Parse(value), 0, false); return true;
            case "watch-polling": Watch(int.Parse(value), 0, true); return true;
            case "cancel-watch": Watch(0, int.Parse(value), false); return true;
            case "close": reader.Close(); return true;
            default: return false;
        }
    }

    static void Read(Func<Card> read, Action cancelled)
    {
        try
        {
            last = read();
            Print(last);
        }
        catch (CardReadException error)
        {
            Print(error);
        }
        catch (OperationCanceledException)
        {
            cancelled();
        }
    }

    static void SavePhoto(string file)
    {
        last.SavePhoto(file);
        output.WriteLine("photo");
        Line("bytes", last.Photo.Length.ToString());
        End();
    }

    static void CancelRead(int milliseconds)
    {
        var stop = new CancellationTokenSource();
        Task<Card> reading = reader.ReadAsync(stop.Token);
        Thread.Sleep(milliseconds);
        var clock = Stopwatch.StartNew();
        stop.Cancel();
        Read(() => reading.GetAwaiter().GetResult(), () => PrintCancelled(clock));
    }

    // Cancelled after so many cards, or, with 0, after some time.
    static void Watch(int count, int milliseconds, bool polling)
    {
        var stop = new CancellationTokenSource();
        var clock = new Stopwatch();
        Action cancel = () =>
        {
            clock.Start();
            stop.Cancel();
        };
        Action<Card> onCard = card =>
        {
            last = card;
            Print(card);
            if (--count == 0) cancel();
        };
        Task watching = reader.WatchAsync(onCard, Print, polling, stop.Token);
        if (count == 0)
        {
            Thread.Sleep(milliseconds);
            cancel();
        }
        watching.Wait();
        PrintCancelled(clock);
    }

    static void Print(Card card)
    {
        output.WriteLine("card");
        Line("type", ((int)card.Type).ToString());
        Line("dn", card.Dn);
        Line("name", card.Name);
        Line("englishName", card.EnglishName);
        Line("sex", card.Sex);
        Line("nation", card.Nation);
        Line("country", card.Country);
        Line("countryCode", card.CountryCode);
        Line("birthday", card.Birthday);
        Line("address", card.Address);
        Line("idNumber", card.IdNumber);
        Line("passNumber", card.PassNumber);
        Line("authority", card.Authority);
        Line("validFrom", card.ValidFrom);
        Line("validUntil", card.ValidUntil);
        Line("textBlock", Hex(card.TextBlock));
        Line("photo", Hex(card.Photo));
        Line("fingerprint", Hex(card.Fingerprint));
        End();
    }

    static void Print(CardReadException error)
    {
        output.WriteLine("error");
        Line("code", error.Code.ToString());
        Line("text", error.Message);
        Line("cause", error.Cause);
        Line("cure", error.Cure);
        Line("causeZh", error.CauseZh);
        Line("cureZh", error.CureZh);
        End();
    }

    static void PrintCancelled(Stopwatch since)
    {
        output.WriteLine("cancelled");
        Line("ms", since.ElapsedMilliseconds.ToString());
        End();
    }

    static string Hex(byte[] block)
    {
        return BitConverter.ToString(block).Replace("-", "").ToLowerInvariant();
    }

    static void Line(string key, string value) { output.WriteLine(key + ": " + value); }

    static void End()
    {
        output.WriteLine("end");
        output.Flush();
    }
}
