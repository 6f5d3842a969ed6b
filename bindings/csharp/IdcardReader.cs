// Reads cards in C# 7.3 or later, on .NET Framework 4.6.2 or later, .NET 6 or later, and Mono. One
// file: put it into the project, or refer to IdcardReader.csproj. Needs no console.
//
//     using (var reader = new CardReader())
//     {
//         Card card = await reader.ReadAsync(cancellationToken);
//     }
using System;
using System.Collections.Generic;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;
using System.Threading.Tasks;

namespace IdcardReader
{
    public enum CardType
    {
        None = 0,
        Resident = 1,
        /// <summary>For residents of Hong Kong, Macao and Taiwan.</summary>
        ResidencePermit = 2,
        PermanentOld = 3,
        PermanentNew = 4,
    }

    /// <summary>What one card holds. A field that the card has not is empty; dates are
    /// YYYYMMDD.</summary>
    public sealed class Card
    {
        public CardType Type { get; internal set; }
        public string Dn { get; internal set; }
        public string Name { get; internal set; }
        public string EnglishName { get; internal set; }
        public string Sex { get; internal set; }
        public string Nation { get; internal set; }
        public string Country { get; internal set; }
        public string CountryCode { get; internal set; }
        public string Birthday { get; internal set; }
        public string Address { get; internal set; }
        public string IdNumber { get; internal set; }
        public string PassNumber { get; internal set; }
        public string Authority { get; internal set; }
        public string ValidFrom { get; internal set; }
        /// <summary>Or a word meaning "for ever".</summary>
        public string ValidUntil { get; internal set; }
        public byte[] TextBlock { get; internal set; }
        /// <summary>Compressed, as the card holds it; empty when it has none.</summary>
        public byte[] Photo { get; internal set; }
        public byte[] Fingerprint { get; internal set; }

        public void SavePhoto(string path) { File.WriteAllBytes(path, Photo); }
    }

    /// <summary>There is no usable library.</summary>
    public sealed class LibraryNotLoadedException : Exception
    {
        internal LibraryNotLoadedException(string message) : base(message) { }
    }

    /// <summary>A card was not read; the message is the library's own text.</summary>
    public sealed class CardReadException : Exception
    {
        /// <summary>0: there is none, and no cause and cure either.</summary>
        public int Code { get; private set; }
        public string Cause { get; private set; }
        public string Cure { get; private set; }
        public string CauseZh { get; private set; }
        public string CureZh { get; private set; }

        internal CardReadException(int code, string text) : base(text)
        {
            Code = code;
            StatusCode known = Array.Find(StatusCode.All, status => status.Number == code);
            Cause = known == null ? "" : known.Cause;
            Cure = known == null ? "" : known.Cure;
            CauseZh = known == null ? "" : known.CauseZh;
            CureZh = known == null ? "" : known.CureZh;
        }
    }

    /// <summary>The library and its engine, of which a process has one. May be used by several
    /// threads; one at a time talks to the library.</summary>
    public sealed class CardReader : IDisposable
    {
        const int NoCard = 40;
        const int ReaderOpened = 1;
        const int BetweenAttempts = 300;  // milliseconds
        const int WhileCardStays = 50;

        // Serialises all calls; a thread of this class gives it back.
        static readonly SemaphoreSlim engine = new SemaphoreSlim(1, 1);

        readonly Native library;
        readonly bool serial;
        readonly object gate = new object();
        CancellationTokenSource closing = new CancellationTokenSource();
        bool prepared;
        bool disposed;

        /// <param name="libraryPath">The library's file; null: the one that the environment variable
        /// IDCARDREADER_LIBRARY names, else the one that the system finds by its name.</param>
        /// <param name="serialReader">The reader at the serial port of conf.yaml.</param>
        public CardReader(string libraryPath = null, bool serialReader = false)
        {
            library = new Native(libraryPath);
            serial = serialReader;
        }

        /// <summary>Reads the card that lies on the reader.</summary>
        /// <exception cref="CardReadException">It was not read.</exception>
        /// <exception cref="OperationCanceledException">Cancelled, or the reader was
        /// closed.</exception>
        public Card Read(CancellationToken cancellation = default(CancellationToken))
        {
            using (CancellationTokenSource stop = StoppedBy(cancellation))
            {
                try
                {
                    return ReadNow(stop.Token);
                }
                catch (OperationCanceledException) when (cancellation.IsCancellationRequested)
                {
                    throw new OperationCanceledException(cancellation);
                }
            }
        }

        public Task<Card> ReadAsync(CancellationToken cancellation = default(CancellationToken))
        {
            return Task.Factory.StartNew(() => Read(cancellation), cancellation,
                TaskCreationOptions.LongRunning, TaskScheduler.Default);
        }

        /// <summary>Hands out each card once until it is cancelled or the reader is closed, also
        /// while the reader is unplugged and plugged in. Ends without an exception.</summary>
        /// <param name="onCard">Called by this thread, and may use the reader.</param>
        /// <param name="onProblem">No reader, or a card that was not read: once for as long as it
        /// stays the same.</param>
        /// <param name="polling">By whole reads, for serial readers.</param>
        public void Watch(Action<Card> onCard, Action<CardReadException> onProblem = null,
            bool polling = false, CancellationToken cancellation = default(CancellationToken))
        {
            using (CancellationTokenSource stop = StoppedBy(cancellation))
            {
                var state = new WatchState();
                while (!stop.IsCancellationRequested)
                {
                    Card card = null;
                    CardReadException problem = null;
                    try
                    {
                        card = polling ? PollOnce(state, stop.Token, out problem)
                            : SearchOnce(state, stop.Token, out problem);
                    }
                    catch (OperationCanceledException) when (stop.IsCancellationRequested)
                    {
                        return;
                    }
                    if (card != null) onCard(card);
                    if (problem != null && onProblem != null) onProblem(problem);
                    if (state.Pause != 0) stop.Token.WaitHandle.WaitOne(state.Pause);
                }
            }
        }

        /// <summary>As Watch; the callbacks run in a thread of the watch.</summary>
        public Task WatchAsync(Action<Card> onCard, Action<CardReadException> onProblem = null,
            bool polling = false, CancellationToken cancellation = default(CancellationToken))
        {
            return Task.Factory.StartNew(() => Watch(onCard, onProblem, polling, cancellation),
                CancellationToken.None, TaskCreationOptions.LongRunning, TaskScheduler.Default);
        }

        /// <summary>Cancels what other threads do and gives everything back. The next call begins
        /// anew, with the library's files as they are then.</summary>
        public void Close()
        {
            lock (gate)
            {
                closing.Cancel();
                closing = new CancellationTokenSource();
            }
            engine.Wait();
            try
            {
                if (!disposed) library.CloseComm();
                prepared = false;
            }
            finally
            {
                engine.Release();
            }
        }

        /// <summary>Closes the reader and unloads the library.</summary>
        public void Dispose()
        {
            Close();
            engine.Wait();
            try
            {
                if (!disposed) library.Unload();
                disposed = true;
            }
            finally
            {
                engine.Release();
            }
        }

        sealed class WatchState
        {
            internal string Present = "";  // number of the card that lies there
            internal string Complaint = "";  // that was made last and still holds
            internal int Pause;  // before the next step
        }

        CancellationTokenSource StoppedBy(CancellationToken cancellation)
        {
            lock (gate)
            {
                return CancellationTokenSource.CreateLinkedTokenSource(cancellation, closing.Token);
            }
        }

        // Runs a call that blocks in a thread of its own and, when it is to stop, tells the library
        // so again and again: a stop that comes before the call has begun has no effect.
        T Run<T>(Func<T> call, CancellationToken stop, bool mayBeLeft)
        {
            engine.Wait(stop);
            var ended = new ManualResetEvent(false);
            var result = default(T);
            Exception failure = null;
            bool left = false;
            var thread = new Thread(() =>
            {
                try
                {
                    if (disposed) throw new ObjectDisposedException("CardReader");
                    if (!prepared && serial) library.readCardSetDeviceType(1);
                    prepared = true;
                    result = call();
                }
                catch (Exception thrown)
                {
                    failure = thrown;
                }
                lock (ended)
                {
                    ended.Set();
                    if (left) ended.Close();
                }
                engine.Release();
            });
            thread.IsBackground = true;
            try
            {
                thread.Start();
            }
            catch
            {
                engine.Release();
                throw;
            }
            if (WaitHandle.WaitAny(new[] { ended, stop.WaitHandle }) == 1)
            {
                // The library's search goes on up to a second, whoever stops it.
                lock (ended)
                {
                    left = mayBeLeft && !ended.WaitOne(0);
                    if (left) library.readCardStop();
                }
                if (left) throw new OperationCanceledException();
                while (!ended.WaitOne(0))
                {
                    library.readCardStop();
                    ended.WaitOne(10);
                }
            }
            thread.Join();
            ended.Close();
            if (failure is CardReadException && stop.IsCancellationRequested)
                throw new OperationCanceledException();
            if (failure != null) throw failure;
            return result;
        }

        Card ReadNow(CancellationToken stop)
        {
            return Run(ReadHere, stop, false);
        }

        Card ReadHere()
        {
            if (library.readCardStart(0) == 0) throw library.LastError();
            return library.FetchCard();
        }

        // The reader tells of a card by itself. A card that stays may be told of again and is not
        // read again; it has gone when the reader finds no number.
        Card SearchOnce(WatchState state, CancellationToken stop, out CardReadException problem)
        {
            problem = null;
            state.Pause = 0;
            CardReadException lost = null;
            bool found = Run(() =>
            {
                bool reported = library.readCardStart(1) != 0;
                if (!reported && library.readCardGetDeviceStatus() != ReaderOpened)
                    lost = library.LastError();
                return reported;
            }, stop, true);
            if (lost != null)
            {
                state.Present = "";
                state.Pause = BetweenAttempts;
                problem = Told(state, lost);
                return null;
            }
            state.Complaint = "";
            if (!found && state.Present == "") return null;
            string uid = "";
            try
            {
                return Run(() =>
                {
                    uid = library.Uid();
                    return found && uid != "" && uid != state.Present ? ReadHere() : null;
                }, stop, false);
            }
            catch (CardReadException notRead)
            {
                problem = notRead;
                return null;
            }
            finally
            {
                // A reader tells of a card that stays as often as it is asked.
                if (uid == state.Present) state.Pause = WhileCardStays;
                state.Present = uid;
            }
        }

        // A serial reader is asked by whole reads; the chip's number tells one card from the next.
        Card PollOnce(WatchState state, CancellationToken stop, out CardReadException problem)
        {
            problem = null;
            state.Pause = BetweenAttempts;
            try
            {
                Card card = ReadNow(stop);
                bool another = card.Dn != state.Present;
                state.Present = card.Dn;
                state.Complaint = "";
                return another ? card : null;
            }
            catch (CardReadException notRead)
            {
                state.Present = "";
                if (notRead.Code == NoCard) state.Complaint = "";
                else problem = Told(state, notRead);
                return null;
            }
        }

        // Null when it was told before and still holds.
        static CardReadException Told(WatchState state, CardReadException problem)
        {
            if (problem.Message == state.Complaint) return null;
            state.Complaint = problem.Message;
            return problem;
        }
    }

    // The library's functions under their own names.
    sealed class Native
    {
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)] internal delegate int Ask();
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)] internal delegate int Tell(int value);
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)] internal delegate void Signal();
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)] internal delegate IntPtr Text();
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate IntPtr TextOfCode(int code);
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int Fill(byte[] buffer);
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int UidInto(int mode, byte[] buffer);
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int PhotoInto(byte[] photo, ref uint length);
        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate int BlocksInto(int port, byte[] text, ref uint textLength, byte[] photo,
            ref uint photoLength, byte[] fingerprint, ref uint fingerprintLength);

        internal readonly Tell readCardStart;
        internal readonly Signal readCardStop;
        internal readonly Tell readCardSetDeviceType;
        internal readonly Ask readCardGetDeviceStatus;
        internal readonly Ask CloseComm;
        readonly Text readCardGetLastError;
        readonly TextOfCode readCardErrorInfo;
        readonly Text readCardGetDN;
        readonly UidInto readCardGetUID;
        readonly BlocksInto SDT_ReadBaseFPMsg;
        readonly PhotoInto GetNewPhotoRaw;
        readonly Ask GetNewCardType;
        readonly Dictionary<string, Text> texts = new Dictionary<string, Text>();
        readonly Dictionary<string, Fill> buffers = new Dictionary<string, Fill>();
        IntPtr handle;

        internal Native(string path)
        {
            if (IntPtr.Size != 8)
                throw new LibraryNotLoadedException("The library is 64-bit, and this process is not: " +
                    "build for x64, or for AnyCPU without preferring 32 bits.");
            Load(path);
            readCardStart = Bind<Tell>("readCardStart");
            readCardStop = Bind<Signal>("readCardStop");
            readCardSetDeviceType = Bind<Tell>("readCardSetDeviceType");
            readCardGetDeviceStatus = Bind<Ask>("readCardGetDeviceStatus");
            CloseComm = Bind<Ask>("CloseComm");
            readCardGetLastError = Bind<Text>("readCardGetLastError");
            readCardErrorInfo = Bind<TextOfCode>("readCardErrorInfo");
            readCardGetDN = Bind<Text>("readCardGetDN");
            readCardGetUID = Bind<UidInto>("readCardGetUID");
            SDT_ReadBaseFPMsg = Bind<BlocksInto>("SDT_ReadBaseFPMsg");
            GetNewPhotoRaw = Bind<PhotoInto>("GetNewPhotoRaw");
            GetNewCardType = Bind<Ask>("GetNewCardType");
            foreach (string name in new[] { "GetPeopleName", "GetPeopleSex", "GetPeopleNation",
                "GetPeopleBirthday", "GetPeopleAddress", "GetPeopleIDCode", "GetStartDate",
                "GetEndDate", "GetDepartment" })
                texts[name] = Bind<Text>(name);
            foreach (string name in new[] { "GetNewPassNum", "GetNewPeopleNameEn",
                "GetNewPeopleCountry", "GetNewPeopleCountryCode" })
                buffers[name] = Bind<Fill>(name);
        }

        internal void Unload()
        {
            if (handle == IntPtr.Zero) return;
            if (OnWindows) FreeLibrary(handle);
            else dlclose(handle);
            handle = IntPtr.Zero;
        }

        // All at once: the library clears the fields two seconds behind the read.
        internal Card FetchCard()
        {
            var card = new Card
            {
                Type = (CardType)GetNewCardType(),
                Name = Gbk.Decode(Bytes(texts["GetPeopleName"]())),
                EnglishName = Utf8(Buffer("GetNewPeopleNameEn")),
                Sex = Gbk.Decode(Bytes(texts["GetPeopleSex"]())),
                Nation = Gbk.Decode(Bytes(texts["GetPeopleNation"]())),
                Country = Gbk.Decode(Buffer("GetNewPeopleCountry")),
                CountryCode = Gbk.Decode(Buffer("GetNewPeopleCountryCode")),
                Birthday = Utf8(Bytes(texts["GetPeopleBirthday"]())),
                Address = Gbk.Decode(Bytes(texts["GetPeopleAddress"]())),
                IdNumber = Utf8(Bytes(texts["GetPeopleIDCode"]())),
                PassNumber = Utf8(Buffer("GetNewPassNum")),
                Authority = Gbk.Decode(Bytes(texts["GetDepartment"]())),
                ValidFrom = Utf8(Bytes(texts["GetStartDate"]())),
                ValidUntil = Gbk.Decode(Bytes(texts["GetEndDate"]())),
                Dn = Utf8(Bytes(readCardGetDN())),
            };
            byte[] text = new byte[256], photo = new byte[1024], fingerprint = new byte[1024];
            uint textLength = 0, photoLength = 0, fingerprintLength = 0;
            SDT_ReadBaseFPMsg(0, text, ref textLength, photo, ref photoLength, fingerprint,
                ref fingerprintLength);
            // A card without a text block yields its photo this way only.
            if (photoLength == 0) GetNewPhotoRaw(photo, ref photoLength);
            Array.Resize(ref text, (int)Math.Min(textLength, 256));
            Array.Resize(ref photo, (int)Math.Min(photoLength, 1024));
            Array.Resize(ref fingerprint, (int)Math.Min(fingerprintLength, 1024));
            card.TextBlock = text;
            card.Photo = photo;
            card.Fingerprint = fingerprint;
            return card;
        }

        // The library hands out a text, not a number. It begins with the text of the code, the
        // longest one that fits, and may hold it again, with the details.
        internal CardReadException LastError()
        {
            string text = Gbk.Decode(Bytes(readCardGetLastError()));
            string codeText = "";
            int code = 0;
            for (int candidate = 2; candidate <= 55; ++candidate)
            {
                string known = Gbk.Decode(Bytes(readCardErrorInfo(candidate)));
                if (known.Length <= codeText.Length) continue;
                if (!text.StartsWith(known, StringComparison.Ordinal)) continue;
                codeText = known;
                code = candidate;
            }
            string details = text.Substring(codeText.Length);
            bool repeated = code != 0 && details.StartsWith(codeText, StringComparison.Ordinal);
            return new CardReadException(code, repeated ? details : text);
        }

        internal string Uid()
        {
            var buffer = new byte[121];
            return readCardGetUID(0, buffer) == 0 ? "" : Utf8(UpToZero(buffer));
        }

        byte[] Buffer(string function)
        {
            var buffer = new byte[512];
            return buffers[function](buffer) == 0 ? new byte[0] : UpToZero(buffer);
        }

        static byte[] UpToZero(byte[] buffer)
        {
            Array.Resize(ref buffer, Array.IndexOf(buffer, (byte)0));
            return buffer;
        }

        static byte[] Bytes(IntPtr text)
        {
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) ++length;
            var bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return bytes;
        }

        static string Utf8(byte[] bytes) { return Encoding.UTF8.GetString(bytes); }

        internal static bool OnWindows
        {
            get { return Environment.OSVersion.Platform == PlatformID.Win32NT; }
        }

        void Load(string path)
        {
            string stated = path ?? Environment.GetEnvironmentVariable("IDCARDREADER_LIBRARY");
            string[] files = !string.IsNullOrEmpty(stated) ? new[] { stated }
                : OnWindows ? new[] { "idcardreader.dll" }
                : new[] { "libidcardreader.so.2", "libidcardreader.so" };
            var complaints = new List<string>();
            foreach (string file in files)
            {
                string reason;
                if (OnWindows)
                {
                    // A file with its folder finds its neighbours there.
                    uint search = Path.IsPathRooted(file) ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
                    handle = LoadLibraryExW(file, IntPtr.Zero, search);
                    reason = "system error " + Marshal.GetLastWin32Error();
                }
                else
                {
                    handle = dlopen(file, RTLD_NOW);
                    reason = handle != IntPtr.Zero ? "" : Utf8(Bytes(dlerror()));
                }
                if (handle != IntPtr.Zero) return;
                complaints.Add(file + ": " + reason);
            }
            throw new LibraryNotLoadedException("The library cannot be loaded. State its path, or set " +
                "IDCARDREADER_LIBRARY to it. " + string.Join("; ", complaints));
        }

        T Bind<T>(string name) where T : class
        {
            IntPtr function = OnWindows ? GetProcAddress(handle, name) : dlsym(handle, name);
            if (function != IntPtr.Zero)
                return (T)(object)Marshal.GetDelegateForFunctionPointer(function, typeof(T));
            Unload();
            throw new LibraryNotLoadedException("The library lacks the function " + name +
                ": it is another one, or older than this program.");
        }

        const uint LOAD_WITH_ALTERED_SEARCH_PATH = 8;
        [DllImport("kernel32", CharSet = CharSet.Unicode, SetLastError = true)]
        static extern IntPtr LoadLibraryExW(string file, IntPtr reserved, uint flags);
        [DllImport("kernel32", CharSet = CharSet.Ansi)]
        static extern IntPtr GetProcAddress(IntPtr module, string name);
        [DllImport("kernel32")] static extern int FreeLibrary(IntPtr module);

        const int RTLD_NOW = 2;
        [DllImport("libdl.so.2")] static extern IntPtr dlopen(string file, int flags);
        [DllImport("libdl.so.2")] static extern IntPtr dlsym(IntPtr module, string name);
        [DllImport("libdl.so.2")] static extern IntPtr dlerror();
        [DllImport("libdl.so.2")] static extern int dlclose(IntPtr module);
    }

    // GBK as Windows' code page 936 has it.
    static class Gbk
    {
        static readonly Encoding encoding = Native.OnWindows ? null : FindEncoding();

        internal static string Decode(byte[] bytes)
        {
            if (Native.OnWindows)
            {
                // Windows has it in any case; .NET needs a package for it before version 3.
                var wide = new char[bytes.Length];
                if (bytes.Length == 0) return "";
                int units = MultiByteToWideChar(936, 0, bytes, bytes.Length, wide, wide.Length);
                return new string(wide, 0, units);
            }
            var text = new StringBuilder();
            for (int i = 0; i < bytes.Length; ++i)
            {
                int lead = bytes[i];
                if (lead < 0x80) text.Append((char)lead);
                else if (lead == 0x80) text.Append('\u20AC');
                else if (lead == 0xFF) text.Append('\uF8F5');
                else if (i + 1 == bytes.Length) text.Append('?');
                else
                {
                    int trail = bytes[++i];
                    char itself = PrivateCharacter(lead, trail);
                    if (trail < 0x40 || trail == 0x7F || trail == 0xFF) text.Append('?');
                    else if (itself != 0) text.Append(itself);
                    else text.Append(encoding.GetString(bytes, i - 1, 2));
                }
            }
            return text.ToString();
        }

        // .NET has the code page in a provider of its own, .NET Framework and Mono have it at hand;
        // asked for by name, one source serves them all.
        static Encoding FindEncoding()
        {
            Type provider = Type.GetType(
                "System.Text.CodePagesEncodingProvider, System.Text.Encoding.CodePages");
            if (provider != null)
                Encoding.RegisterProvider(
                    (EncodingProvider)provider.GetProperty("Instance").GetValue(null, null));
            return Encoding.GetEncoding(936);
        }

        // What Windows makes of the cells that GBK leaves to its users or unassigned: private
        // characters, which old cards carry and other decoders refuse. 0: an ordinary cell.
        static char PrivateCharacter(int lead, int trail)
        {
            int code = lead << 8 | trail;
            if (lead >= 0xAA && lead <= 0xAF && trail >= 0xA1)
                return (char)(0xE000 + (lead - 0xAA) * 94 + trail - 0xA1);
            if (lead >= 0xF8 && trail >= 0xA1)
                return (char)(0xE234 + (lead - 0xF8) * 94 + trail - 0xA1);
            if (lead >= 0xA1 && lead <= 0xA7 && trail <= 0xA0)
                return (char)(0xE4C6 + (lead - 0xA1) * 96 + trail - 0x40 - (trail > 0x7F ? 1 : 0));
            int next = 0xE766;
            for (int i = 0; i < unassigned.Length; i += 2)
            {
                if (code >= unassigned[i] && code <= unassigned[i + 1])
                    return (char)(next + code - unassigned[i] - (code > 0xFE7F ? 1 : 0));
                next += unassigned[i + 1] - unassigned[i] + 1;
            }
            return (char)0;
        }

        // First and last cells.
        static readonly int[] unassigned =
        {
            0xA2AB, 0xA2B0, 0xA2E3, 0xA2E4, 0xA2EF, 0xA2F0, 0xA2FD, 0xA2FE, 0xA4F4, 0xA4FE, 0xA5F7,
            0xA5FE, 0xA6B9, 0xA6C0, 0xA6D9, 0xA6DF, 0xA6EC, 0xA6ED, 0xA6F3, 0xA6F3, 0xA6F6, 0xA6FE,
            0xA7C2, 0xA7D0, 0xA7F2, 0xA7FE, 0xA896, 0xA8A0, 0xA8BC, 0xA8BC, 0xA8BF, 0xA8BF, 0xA8C1,
            0xA8C4, 0xA8EA, 0xA8FE, 0xA958, 0xA958, 0xA95B, 0xA95B, 0xA95D, 0xA95F, 0xA989, 0xA995,
            0xA997, 0xA9A3, 0xA9F0, 0xA9FE, 0xD7FA, 0xD7FE, 0xFE50, 0xFEA0,
        };

        [DllImport("kernel32", CharSet = CharSet.Unicode)]
        static extern int MultiByteToWideChar(uint codePage, uint flags, byte[] text, int length,
            [Out] char[] wide, int wideLength);
    }

    // Cause and cure of each status code that is raised.
    sealed class StatusCode
    {
        internal readonly int Number;
        internal readonly string Cause, Cure, CauseZh, CureZh;

        StatusCode(int number, string cause, string cure, string causeZh, string cureZh)
        {
            Number = number;
            Cause = cause;
            Cure = cure;
            CauseZh = causeZh;
            CureZh = cureZh;
        }

        internal static readonly StatusCode[] All =
        // Generated from codes.json by scripts/code-tables.
        {
            new StatusCode(2,
                "The thread for the decode service could not be created: the system is out of " +
                "threads or memory.",
                "Close other programs, or restart the machine, and try again.",
                "无法创建解码服务线程：系统线程或内存不足。",
                "请关闭其他程序或重启电脑后重试。"),
            new StatusCode(3,
                "No network socket could be made: the system's network is not set up, or it is " +
                "out of resources.",
                "Check the system's network set-up and close other programs, then read again.",
                "无法创建网络套接字：系统网络未配置或资源不足。",
                "请检查系统网络设置并关闭其他程序，然后重新读卡。"),
            new StatusCode(7,
                "The heartbeat that opens a read could not be sent to the decode service: the " +
                "connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "读卡前的心跳未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(8,
                "The heartbeat that opens a read was not answered: the connection broke, or the " +
                "service was silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "读卡前的心跳没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(9,
                "The card's DN could not be sent to the decode service: the connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "卡片DN码未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(10,
                "The card's DN was not answered: the connection broke, or the service was " +
                "silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "卡片DN码没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(11,
                "The output key could not be sent to the decode service: the connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "输出密钥（OUTPUTKEY）未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(12,
                "The output key was not answered: the connection broke, or the service was " +
                "silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "输出密钥（OUTPUTKEY）没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(13,
                "Sector 11 (the card's text) could not be sent to the decode service: the " +
                "connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "11扇区（文字）未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(14,
                "Sector 11 (the card's text) was not answered: the connection broke, or the " +
                "service was silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "11扇区（文字）没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(15,
                "Sector 12 (the photo's first part) could not be sent to the decode service: " +
                "the connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "12扇区（照片前半）未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(16,
                "Sector 12 (the photo's first part) was not answered: the connection broke, or " +
                "the service was silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "12扇区（照片前半）没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(17,
                "Sector 13 (the photo's second part) could not be sent to the decode service: " +
                "the connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "13扇区（照片后半）未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(18,
                "Sector 13 (the photo's second part) was not answered: the connection broke, or " +
                "the service was silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "13扇区（照片后半）没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(19,
                "Sector 21 (the fingerprints) could not be sent to the decode service: the " +
                "connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "21扇区（指纹）未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(20,
                "Sector 21 (the fingerprints) was not answered: the connection broke, or the " +
                "service was silent for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "21扇区（指纹）没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(22,
                "The card's content did not come, or it held no data: the connection broke, or " +
                "the service cannot decode the card.",
                "Read again; if it stays so with this card, ask the operator of the decode " +
                "service.",
                "没有收到身份证内容或内容为空：连接中断，" +
                "或解码服务无法解码此卡。",
                "请重新读卡；若此卡始终如此，请联系解码服务运营方。"),
            new StatusCode(26,
                "The thread for reading, or the one that speaks to the reader, could not be " +
                "created: the system is out of threads or memory.",
                "Close other programs, or restart the machine, and try again.",
                "无法创建读卡线程：系统线程或内存不足。",
                "请关闭其他程序或重启电脑后重试。"),
            new StatusCode(27,
                "No reader was found: none is plugged in, vid or pid in conf.yaml do not fit it " +
                "(decimal numbers; one that is 0 finds nothing), or hidapi.dll is missing on " +
                "Windows.",
                "Plug the reader in; check vid and pid in conf.yaml; on Windows check that " +
                "hidapi.dll lies beside the library; on Linux check that the user may read and " +
                "write the device node.",
                "未找到读卡器：未插入读卡器，conf.yaml 中的 vid 或 pid " +
                "不符（十进制；为 0 则找不到），或 Windows 上缺少 " +
                "hidapi.dll。",
                "请插好读卡器；检查 conf.yaml 中的 vid 和 pid；Windows 上检查 " +
                "hidapi.dll 是否在库旁边；Linux " +
                "上检查用户是否有权读写设备节点。"),
            new StatusCode(28,
                "The reader is there but cannot be opened: another program holds it, or the " +
                "user may not use it.",
                "Close other programs that use the reader; on Linux check that the user may " +
                "read and write its device node.",
                "找到读卡器但无法打开：被其他程序占用，" +
                "或用户没有权限。",
                "请关闭占用读卡器的其他程序；Linux " +
                "上检查用户是否有权读写设备节点。"),
            new StatusCode(29,
                "No decode service could be reached: appid.dat or hostport.dat is missing or " +
                "empty, a host name is not found, or nobody answers at the address.",
                "Check that appid.dat and hostport.dat lie beside the library, then name " +
                "resolution and firewall.",
                "无法连接解码服务：appid.dat 或 hostport.dat 缺失或为空，" +
                "域名无法解析，或服务器地址无应答。",
                "请检查库旁边是否有 appid.dat 和 hostport.dat，" +
                "再检查域名解析和防火墙。"),
            new StatusCode(30,
                "The reader's answer was missing or malformed.",
                "Read again; if it stays so, unplug the reader and plug it in again.",
                "读卡器没有应答，或应答格式错误。",
                "请重新读卡；若仍然如此，请拔下读卡器再重新插上。"),
            new StatusCode(31,
                "The reader reports an unknown status.",
                "Read again; if it stays so, unplug the reader and plug it in again.",
                "读卡器报告：未知状态。",
                "请重新读卡；若仍然如此，请拔下读卡器再重新插上。"),
            new StatusCode(32,
                "The reader reports a communication error with the card.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：与卡片通信错误。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(33,
                "The reader reports a collision: more than one card lies on it.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：冲突：有多张卡。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(34,
                "The reader reports that the card did not answer in time.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：卡片通信超时。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(35,
                "The reader reports that a buffer is too small.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：缓冲区太小。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(36,
                "The reader reports an internal error.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：内部错误。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(37,
                "The reader reports an invalid parameter, a wrong key among others.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：参数非法，例如密钥错误。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(38,
                "The reader reports a checksum error: the card was moved.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "读卡器报告：校验错误：卡片被移动。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(39,
                "The reader reports that the card is locked.",
                "Try another card; if that one reads, the first is locked and its holder has to " +
                "turn to the authority that issued it.",
                "读卡器报告：卡片被锁死。",
                "请换一张卡试；若能读取，则原卡已锁死，" +
                "持卡人须联系签发机关。"),
            new StatusCode(40,
                "The card's DN could not be read in two attempts: there is no card, or it was " +
                "taken away.",
                "Lay one card flat on the reader, leave it there, and read again.",
                "两次读取DN码均失败：没有放卡，或卡片已拿开。",
                "请将一张卡平放在读卡器上，不要移动，重新读卡。"),
            new StatusCode(44,
                "The service refused the card's DN, its answer was malformed, or the login has " +
                "expired.",
                "Read again: an expired login is renewed by the next read. If it stays so, ask " +
                "the operator of the decode service.",
                "解码服务拒绝了DN码、应答格式错误，或登录已过期。",
                "请重新读卡：登录过期时下次读卡会自动重新登录。" +
                "若仍然如此，请联系解码服务运营方。"),
            new StatusCode(45,
                "The service refused the output key, its answer was malformed, or the login has " +
                "expired.",
                "Read again: an expired login is renewed by the next read. If it stays so, ask " +
                "the operator of the decode service.",
                "解码服务拒绝了输出密钥、应答格式错误，或登录已过期。",
                "请重新读卡：登录过期时下次读卡会自动重新登录。" +
                "若仍然如此，请联系解码服务运营方。"),
            new StatusCode(46,
                "The result did not come within two seconds of the last upload, or the fields " +
                "were fetched later than two seconds behind the read.",
                "Read again, and fetch the fields at once.",
                "最后一次上传后两秒内没有结果，" +
                "或读卡成功两秒后才取字段。",
                "请重新读卡，并在读卡成功后立即取字段。"),
            new StatusCode(47,
                "The reader was unplugged.",
                "Plug the reader in; the next read opens it again.",
                "读卡器被拔出。",
                "请插好读卡器；下次读卡会重新打开。"),
            new StatusCode(48,
                "The serial port could not be opened: there is no such port, another program " +
                "holds it, or the user may not use it.",
                "Check comnum and comport (on Linux comname) in conf.yaml, and that the port is " +
                "free.",
                "串口无法打开：串口不存在、被其他程序占用，" +
                "或用户没有权限。",
                "请检查 conf.yaml 中的 comnum 和 comport（Linux 为 comname），" +
                "并确认串口未被占用。"),
            new StatusCode(49,
                "The login could not be sent to the decode service: the connection broke.",
                "Check network and firewall, then read again; every read connects anew.",
                "登录请求未能发送到解码服务：连接中断。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(50,
                "The login was not answered: the connection broke, or the service was silent " +
                "for longer than the time-out.",
                "Check network and firewall, then read again; every read connects anew.",
                "登录请求没有得到应答：连接中断，" +
                "或解码服务超时未响应。",
                "请检查网络和防火墙后重新读卡；每次读卡都会重新连接。"),
            new StatusCode(51,
                "The service refused the login: appid.dat does not fit the service or this " +
                "machine.",
                "Check appid.dat beside the library with the operator of the decode service.",
                "解码服务拒绝登录：appid.dat 与服务或本机不符。",
                "请与解码服务运营方核对库旁边的 appid.dat。"),
            new StatusCode(55,
                "The card's content could not be decompressed: it came damaged.",
                "Read again; if it stays so, ask the operator of the decode service.",
                "身份证内容解压失败：数据损坏。",
                "请重新读卡；若仍然如此，请联系解码服务运营方。"),
        };
        // End of what was generated.
    }
}
