/*
 * idcardreader.h - reads Chinese identity cards through a USB reader and a remote decode service.
 *
 * The cards are the resident identity card, the residence permit for Hong Kong, Macao and Taiwan
 * residents, and the old and new permanent residence cards for foreigners. The library is
 * idcardreader.dll on 64-bit Windows and libidcardreader.so on Linux; both export the functions
 * declared here, undecorated, and nothing else.
 *
 * A 64-bit library needs a 64-bit host. A 32-bit program cannot load it; it starts a 64-bit program
 * of its own that reads the cards and tells it the result.
 *
 * ORDER OF CALLS
 *
 *     readCardSetDeviceType(0);             creates the engine and chooses the USB reader
 *     readCardInit();                       opens the reader
 *     while (cards come) {
 *       if (readCardStart(0)) {             reads the card that lies on the reader
 *         ... fetch blocks and fields ...   within three seconds, see below
 *       } else {
 *         ... readCardGetLastError() ...    why not
 *       }
 *     }
 *     CloseComm();                          gives everything back
 *
 * One process has one engine. Most functions create it when it is not there; each function below
 * says what it does without one. The call that creates it reads the files below, and may wait for
 * the host names of the service to be resolved, up to three seconds a name. readCardInit may be
 * left out: every read opens the reader when it is not open.
 *
 * A card that stays on the reader is read as often as a host asks for it, and the search reports it
 * again after each read. To read each card once, search, and compare the UID with that of the card
 * that lay there before:
 *
 *     char last[IDCARDREADER_UID_BYTES] = "";              none
 *     for (;;) {
 *       char uid[IDCARDREADER_UID_BYTES] = "";
 *       int reported = readCardStart(1);                   waits for up to a second
 *       if (reported || last[0] != 0) readCardGetUID(1, uid);   stays empty when the card is gone
 *       if (reported && uid[0] != 0 && strcmp(uid, last) != 0 && readCardStart(0)) {
 *         ... fetch blocks and fields ...
 *       } else if (reported) {
 *         ... sleep, say 300 ms ...                        a card that stays is reported at once
 *       }
 *       strcpy(last, uid);
 *     }
 *
 * FETCH THE FIELDS WITHIN TWO SECONDS
 *
 * Two seconds after a good read has ended (three seconds once readCardSetDeviceType has been
 * called) the card-holder's fields are cleared and, unless readCardStop was called meanwhile, code
 * 46 becomes the last error. So fetch all fields (GetPeople*, GetNew*, GetStartDate and so on) at
 * once after readCardStart has returned. They go sooner with
 *   - the next read, good or not;
 *   - readCardInit, and the call that switches the search on;
 *   - a UID query, a beep or a search that fails with a code (see readCardGetLastError);
 *   - CloseComm.
 * A UID query, a beep and further calls of a search that do not fail, readCardStop and
 * readCardDestory leave them to their time. The three blocks that readCardStart fetched (SDT_Read*)
 * stay until the next readCardStart(0), also one that is refused. GetNewPhotoRaw fetches anew and
 * so belongs to the fields.
 *
 * RETURN VALUES AND CALLING FROM OTHER LANGUAGES
 *
 * Return values are 32-bit integers, in which all 32 bits count, but for texts (a pointer),
 * readCardBeep (64 bits) and readCardStop (nothing). No function takes or returns a bool, so no
 * marshalling attribute is needed. The calling convention is the platform's only one on x64. An
 * argument told to be a flag or a mode of 8 bits is declared int32_t, but only its lowest 8 bits
 * are looked at: a host may declare it as a byte and leave the rest of the register undefined. In
 * C#:
 *
 *     [DllImport("idcardreader")] static extern int    readCardStart(int mode);
 *     [DllImport("idcardreader")] static extern IntPtr readCardGetLastError();
 *     [DllImport("idcardreader")] static extern IntPtr GetPeopleName();
 *     [DllImport("idcardreader")] static extern int    GetNewPeopleNameEn(byte[] buffer);
 *     [DllImport("idcardreader")] static extern int    SDT_ReadBaseMsg(int port, byte[] text,
 *         ref uint textLength, byte[] photo, ref uint photoLength);
 *
 * Never declare a text result as string (the run-time would free the pointer and take it for
 * another encoding): declare it IntPtr, copy the bytes before the terminating zero and decode them.
 *
 * ENCODINGS
 *
 * Texts are byte strings. GBK means code page 936 (in .NET Encoding.GetEncoding(936), which needs
 * System.Text.Encoding.CodePages; Python's "gbk" lacks its characters of private use). A character
 * that GBK does not hold stands as one "?" for each of its UTF-16 units. UTF-8 means that the field
 * is handed on exactly as the service sent it: numbers, the English name and dates but for the end
 * date (which may be a word), in practice plain ASCII. The text block of SDT_ReadBaseMsg is UTF-16,
 * little-endian. File names that a host hands over are in the system's ANSI code page on Windows;
 * on Linux they are bytes.
 *
 * POINTERS THAT ARE RETURNED
 *
 * A text result is never null, ends with a zero byte and belongs to the library: do not free it.
 * All texts share one place in memory, so the pointer's text changes with the next call of any
 * function that returns a text, of any GetNew* function but GetNewCardType and GetNewPhotoRaw, of
 * CloseComm, and of a readCardStart(0), SDT_SelectIDCard or Read_Content that fails. Copy it before
 * the next call into the library. After the library is unloaded the pointer is invalid. These texts
 * are handed out whole, however long.
 *
 * BUFFERS THAT ARE GIVEN
 *
 * The library cannot test the size of a buffer and, unless it is said so, does not test for null:
 * each function states the least number of bytes, and never writes more than these, whatever the
 * reader or the service has sent. Nothing ends with a zero byte unless it is said so. So zero the
 * buffer before the call; the last byte of a field's or a UID's least buffer is left alone, so a
 * zero there stays.
 *
 * THREADS
 *
 * Any function may be called from any thread; no function calls back. All traffic with the reader
 * runs on a thread of the library, so it matters to nobody which thread calls and when that ends.
 * readCardStart(0), SDT_SelectIDCard and Read_Content block until the read has ended; readCardStop,
 * called from another thread, releases them. While one of them blocks, another returns without a
 * read at once. Two things must be kept apart by the host:
 *   - functions that return a text, and GetNew* functions: one at a time, since they share the
 *     place of the text; also not while another thread is in a blocking read;
 *   - SDT_Read*, Routon_ReadBaseMsg and GetNewPhotoRaw: not while another thread is in a blocking
 *     read, which replaces the blocks.
 *
 * The process that has loaded the library is the only one in which it works. In a child that was
 * forked from it every function returns at once what it returns when there is nothing (0, an empty
 * text, IDCARDREADER_SDT_NO_CARD and so on); those that always return the same still do.
 *
 * FILES
 *
 * Read when the engine is created, that is once until CloseComm:
 *   conf.yaml      reader ids, serial port, logging, printing. Looked for beside the host's
 *                  executable and, when there is none, beside the library: the executable of a host
 *                  written in Java or Python lies in a folder of its own. May be missing.
 *   appid.dat      beside the library: the application id given by the operator of the service.
 *                  Without it hostport.dat is not read either.
 *   hostport.dat   beside the library: where the service is. Without either file no card is ever
 *                  sent anywhere but to the local machine, and reads fail with code 29.
 * A file that could not be opened because the process had no descriptor left is read by the next
 * readCardStart(0).
 *
 * Other libraries:
 *   hidapi.dll     on Windows, looked for by the first function that needs the reader: where the
 *                  system looks (the executable's folder first), then beside the library. When it
 *                  is not to be had no reader is found, code 27, and the error log says why.
 *   libhidapi-hidraw.so.0  on Linux: found by the system's loader, or beside the library.
 *   WltRS.dll, Dewlt.dll (libWltRS.so, libDewlt.so): outside decoders of photos, not part of this
 *                  library; see Read_Content and dewlt. They must lie where the system looks for a
 *                  library that is loaded by its name: on Windows the executable's folder, the
 *                  current one or PATH, on Linux beside this library, in LD_LIBRARY_PATH or among
 *                  the system's.
 *   DLL_File.dll (libDLL_File.so) is not needed. One that is found and does not offer the function
 *                  unpack makes every read fail with code 29.
 *
 * Written beside the library, in folders made as needed, one set of files for each start:
 *   errordata/     what failed, always; some lines hold a reader report or a service answer.
 *   LogData/       what the data files said, when they could not be loaded.
 *   logdata/       every step, when logging is on; then it holds personal data.
 *
 * A few progress lines go to the standard output of the host: what the start-up has found, the
 * first endpoint, whether the service was reached, how the decompression of the content went and
 * how long that is, and each report of a search, in which the card's UID stands. No field and no
 * block of a card does. "canPrint: false" in conf.yaml switches them off. No call is delayed by
 * them for more than 50 ms, whatever standard output is; what cannot be written until then is
 * dropped.
 *
 * UNLOADING
 *
 * Call CloseComm before FreeLibrary or dlclose. Without it the library stays in memory, since its
 * threads still run in it, and the next load finds it working.
 */
#ifndef IDCARDREADER_IDCARDREADER_H_
#define IDCARDREADER_IDCARDREADER_H_

#include <stdint.h>

/* IDCARDREADER_BUILDING is set by the library's own build only. */
#if defined(_WIN32)
#if defined(IDCARDREADER_BUILDING)
#define IDCARDREADER_API __declspec(dllexport)
#else
#define IDCARDREADER_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define IDCARDREADER_API __attribute__((visibility("default")))
#else
#define IDCARDREADER_API
#endif

/* The version of this header and of the library that it belongs to; the build takes it from here. */
#define IDCARDREADER_VERSION_MAJOR 2
#define IDCARDREADER_VERSION_MINOR 84
#define IDCARDREADER_VERSION_PATCH 0
#define IDCARDREADER_VERSION_TEXT(major, minor, patch) #major "." #minor "." #patch
#define IDCARDREADER_VERSION_TEXT_OF(major, minor, patch) \
  IDCARDREADER_VERSION_TEXT(major, minor, patch)
/* "2.84.0" */
#define IDCARDREADER_VERSION                                                           \
  IDCARDREADER_VERSION_TEXT_OF(IDCARDREADER_VERSION_MAJOR, IDCARDREADER_VERSION_MINOR, \
                               IDCARDREADER_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/* Least bytes of the buffers for the blocks. */
#define IDCARDREADER_TEXT_BLOCK_BYTES 256
#define IDCARDREADER_PHOTO_BLOCK_BYTES 1024
#define IDCARDREADER_FINGERPRINT_BLOCK_BYTES 1024

/*
 * Least bytes of the buffers for single fields, with room for the zero byte that the host puts in
 * by zeroing. They hold every field of every card with room to spare: a card has at most 15
 * characters for a name, 35 for an address, 18 for a number and about 215 bytes for an English
 * name. No function writes more than these less one: a longer field, which no card has, is cut
 * behind its last whole character. The functions that return a pointer do not cut.
 */
#define IDCARDREADER_FIELD_BYTES 128
#define IDCARDREADER_LONG_FIELD_BYTES 512

/* A card's UID has at most 60 bytes, written as two digits each; one byte for the host's zero. */
#define IDCARDREADER_UID_BYTES 121

/* Results of the SDT_* functions. */
#define IDCARDREADER_SDT_SUCCESS 0x90        /* 144: done */
#define IDCARDREADER_SDT_NO_FINGERPRINT 0x91 /* 145: no fingerprint block is held; not supported */
#define IDCARDREADER_SDT_CARD_FOUND 0x9F     /* 159: a card is on the reader */
#define IDCARDREADER_SDT_NO_CARD 0x80        /* 128: no card */
#define IDCARDREADER_SDT_NOT_SELECTED 0x81   /* 129: the card was not read */
#define IDCARDREADER_SDT_NOTHING_READ 0x41   /*  65: no text block is held; nothing was copied */

/* Results of GetNewCardType. */
#define IDCARDREADER_CARD_NONE 0             /* no card was read, or its fields are cleared */
#define IDCARDREADER_CARD_RESIDENT 1         /* resident identity card */
#define IDCARDREADER_CARD_RESIDENCE_PERMIT 2 /* permit for Hong Kong, Macao, Taiwan residents */
#define IDCARDREADER_CARD_PERMANENT_OLD 3    /* permanent residence card, old format */
#define IDCARDREADER_CARD_PERMANENT_NEW 4    /* permanent residence card, new format */

/* ============================================================================================
 * Cloud reading: the library's own family. Opens the reader, reads cards, tells what went wrong.
 * ============================================================================================ */

/*
 * Prepares a read: starts the read thread, empties the fields and opens the reader if it is not
 * open.
 *   Returns  1 done; 0 the reader could not be opened (codes 27, 28, 48, or those of a reader that
 *            answers wrongly: 30 to 39, 47), a read is running, or there is no engine.
 *   Engine   not created: call a function first that creates it.
 */
IDCARDREADER_API int32_t readCardInit(void);

/*
 * Shuts the engine down: releases a blocked read, ends the threads, closes the reader and the
 * connection. The engine itself stays, with its configuration, its last error and the device
 * status, and the next read starts everything anew. (The spelling of the name is part of the
 * interface.)
 *   Returns  1 done; 0 there is no engine.
 */
IDCARDREADER_API int32_t readCardDestory(void);

/*
 * Switches the activity logs in logdata/ on or off. They hold every step and, while on, personal
 * data. Overrides canLog of conf.yaml either way: a host that leaves the choice to that file does
 * not call this.
 *   on       8-bit flag: 0 off, anything else on.
 *   Returns  1 done; 0 the engine or the service link could not be created.
 *   Engine   created.
 */
IDCARDREADER_API int32_t readCardLog(int32_t on);

/*
 * Mode 0: reads the card that lies on the reader and blocks until that has ended. The service is
 * connected at each read and logged in to at the first. On success all blocks and fields of the
 * card can be fetched. On failure no block is handed out, fields must not be used, and
 * readCardGetLastError tells why. A read has no time limit of its own, but every step of it has:
 * with a service that does not answer it ends after a few seconds. readCardStop ends it from
 * another thread.
 *
 * Any other mode: the automatic card search. The first call switches the reader's own search on;
 * every call then waits up to one second (a fifth of a second on a serial line) for the reader to
 * report a card. Call it again until it returns 1, then read with mode 0, which switches the search
 * off; searched again, a card that stays is reported again at once (see the top for reading it
 * once). A serial reader's search reports only a card that lies on it when the search is switched
 * on.
 *   mode     8 bits.
 *   Returns  mode 0: 1 the card was read; 0 it was not, it was stopped, or another read is running
 *            (which goes on, but the blocks of the card before are no longer handed out).
 *            Other modes: 1 a card was reported; 0 none yet, the reader could not be opened (codes
 *            27, 28, 48) or was lost (47), or a read is running.
 *   Engine   created.
 */
IDCARDREADER_API int32_t readCardStart(int32_t mode);

/*
 * Ends a read: the readCardStart(0) that blocks in another thread returns 0. Ends a search: the
 * next call of readCardStart with another mode begins anew. With no read running it only takes back
 * the mark of success of the last one, so that readCardGetLastError answers as after a failure.
 * Without an engine it does nothing.
 */
IDCARDREADER_API void readCardStop(void);

/*
 * The text of a status code, GBK.
 *   code     0 to 56; any other value gives the text of 0, "invalid code".
 *   Returns  the text; an empty one when there is no engine.
 *   Engine   not created.
 *
 * Codes, causes and cures:
 *     2   The thread for the decode service could not be created: the system is out of threads or
 *         memory.
 *         -> Close other programs, or restart the machine, and try again.
 *     3   No network socket could be made: the system's network is not set up, or it is out of
 *         resources.
 *         -> Check the system's network set-up and close other programs, then read again.
 *     7   The heartbeat that opens a read could not be sent to the decode service: the connection
 *         broke.
 *     8   The heartbeat that opens a read was not answered: the connection broke, or the service
 *         was silent for longer than the time-out.
 *     9   The card's DN could not be sent to the decode service: the connection broke.
 *    10   The card's DN was not answered: the connection broke, or the service was silent for
 *         longer than the time-out.
 *    11   The output key could not be sent to the decode service: the connection broke.
 *    12   The output key was not answered: the connection broke, or the service was silent for
 *         longer than the time-out.
 *    13   Sector 11 (the card's text) could not be sent to the decode service: the connection
 *         broke.
 *    14   Sector 11 (the card's text) was not answered: the connection broke, or the service was
 *         silent for longer than the time-out.
 *    15   Sector 12 (the photo's first part) could not be sent to the decode service: the
 *         connection broke.
 *    16   Sector 12 (the photo's first part) was not answered: the connection broke, or the service
 *         was silent for longer than the time-out.
 *    17   Sector 13 (the photo's second part) could not be sent to the decode service: the
 *         connection broke.
 *    18   Sector 13 (the photo's second part) was not answered: the connection broke, or the
 *         service was silent for longer than the time-out.
 *    19   Sector 21 (the fingerprints) could not be sent to the decode service: the connection
 *         broke.
 *    20   Sector 21 (the fingerprints) was not answered: the connection broke, or the service was
 *         silent for longer than the time-out.
 *         -> Check network and firewall, then read again; every read connects anew.
 *    22   The card's content did not come, or it held no data: the connection broke, or the service
 *         cannot decode the card.
 *         -> Read again; if it stays so with this card, ask the operator of the decode service.
 *    26   The thread for reading, or the one that speaks to the reader, could not be created: the
 *         system is out of threads or memory.
 *         -> Close other programs, or restart the machine, and try again.
 *    27   No reader was found: none is plugged in, vid or pid in conf.yaml do not fit it (decimal
 *         numbers; one that is 0 finds nothing), or hidapi.dll is missing on Windows.
 *         -> Plug the reader in; check vid and pid in conf.yaml; on Windows check that hidapi.dll
 *            lies beside the library; on Linux check that the user may read and write the device
 *            node.
 *    28   The reader is there but cannot be opened: another program holds it, or the user may not
 *         use it.
 *         -> Close other programs that use the reader; on Linux check that the user may read and
 *            write its device node.
 *    29   No decode service could be reached: appid.dat or hostport.dat is missing or empty, a host
 *         name is not found, or nobody answers at the address.
 *         -> Check that appid.dat and hostport.dat lie beside the library, then name resolution and
 *            firewall.
 *    30   The reader's answer was missing or malformed.
 *    31   The reader reports an unknown status.
 *         -> Read again; if it stays so, unplug the reader and plug it in again.
 *    32   The reader reports a communication error with the card.
 *    33   The reader reports a collision: more than one card lies on it.
 *    34   The reader reports that the card did not answer in time.
 *    35   The reader reports that a buffer is too small.
 *    36   The reader reports an internal error.
 *    37   The reader reports an invalid parameter, a wrong key among others.
 *    38   The reader reports a checksum error: the card was moved.
 *         -> Lay one card flat on the reader, leave it there, and read again.
 *    39   The reader reports that the card is locked.
 *         -> Try another card; if that one reads, the first is locked and its holder has to turn to
 *            the authority that issued it.
 *    40   The card's DN could not be read in two attempts: there is no card, or it was taken away.
 *         -> Lay one card flat on the reader, leave it there, and read again.
 *    44   The service refused the card's DN, its answer was malformed, or the login has expired.
 *    45   The service refused the output key, its answer was malformed, or the login has expired.
 *         -> Read again: an expired login is renewed by the next read. If it stays so, ask the
 *            operator of the decode service.
 *    46   The result did not come within two seconds of the last upload, or the fields were fetched
 *         later than two seconds behind the read.
 *         -> Read again, and fetch the fields at once.
 *    47   The reader was unplugged.
 *         -> Plug the reader in; the next read opens it again.
 *    48   The serial port could not be opened: there is no such port, another program holds it, or
 *         the user may not use it.
 *         -> Check comnum and comport (on Linux comname) in conf.yaml, and that the port is free.
 *    49   The login could not be sent to the decode service: the connection broke.
 *    50   The login was not answered: the connection broke, or the service was silent for longer
 *         than the time-out.
 *         -> Check network and firewall, then read again; every read connects anew.
 *    51   The service refused the login: appid.dat does not fit the service or this machine.
 *         -> Check appid.dat beside the library with the operator of the decode service.
 *    55   The card's content could not be decompressed: it came damaged.
 *         -> Read again; if it stays so, ask the operator of the decode service.
 * The other codes have a text but are not raised.
 */
IDCARDREADER_API const char* readCardErrorInfo(int32_t code);

/*
 * Why the last read failed, GBK: the text of the status code, followed without a separator by the
 * last line of the error log. Empty when the last read succeeded. readCardInit, a UID query, a beep
 * and a search that fail with a code (27, 28, 30 to 39, 47, 48) tell it here as well, and clear the
 * fields of the read before. Some failures have no code (a resident card without a photo, a card of
 * unknown type): then it is the error log's line alone, which may be empty.
 *   Returns  the text; an empty one when there is no engine.
 *   Engine   not created.
 */
IDCARDREADER_API const char* readCardGetLastError(void);

/*
 * The DN of the card that was read last, ASCII: 64 upper-case hexadecimal digits. Empty from a
 * read's beginning until the reader has told it; behind a good read it goes with the fields.
 *   Returns  the text; empty when no card was read or there is no engine.
 *   Engine   not created.
 */
IDCARDREADER_API const char* readCardGetDN(void);

/*
 * Asks the reader for the UID of the card that lies on it, opening the reader if need be.
 *   mode     0 identity card, else a type A card; 1 identity card only (8 bytes); 2 type A card
 *            only; any other value asks for nothing.
 *   buffer   at least IDCARDREADER_UID_BYTES bytes; gets upper-case hexadecimal digits, ASCII,
 *            without a zero byte, IDCARDREADER_UID_BYTES less one at most. Untouched when 0 is
 *            returned.
 *   Returns  1 copied; 0 no card, no reader, or a read is running.
 *   Engine   created.
 */
IDCARDREADER_API int32_t readCardGetUID(int32_t mode, char* buffer);

/*
 * What is known of reader, host and library, ASCII but for readCardGetComSet, which is GBK. All
 * create the engine; the text is empty when that fails.
 *   readCardGetVersionCode     the reader's version, 4 hexadecimal digits; empty until a reader has
 *                              been opened and after it was lost.
 *   readCardGetAuthorizeCode   the reader's authorize code, 12 hexadecimal digits; likewise.
 *   readCardGetHostDeviceCode  what names this host to the service: a network adapter's address,
 *                              as 00-1A-2B-3C-4D-5E, or "pcDevice".
 *   readCardGetSdkVersion      major and minor number of the library's version, as "V2.84".
 *   readCardGetComSet          serial port and baud rate as configured; empty without conf.yaml.
 */
IDCARDREADER_API const char* readCardGetVersionCode(void);
IDCARDREADER_API const char* readCardGetAuthorizeCode(void);
IDCARDREADER_API const char* readCardGetHostDeviceCode(void);
IDCARDREADER_API const char* readCardGetSdkVersion(void);
IDCARDREADER_API const char* readCardGetComSet(void);

/*
 *   Returns  what has last become of the reader: 0 not opened yet (or no engine could be created),
 *            1 opened, 3 lost. It stays so behind readCardDestory, which closes the reader.
 *   Engine   created.
 */
IDCARDREADER_API int32_t readCardGetDeviceStatus(void);

/*
 * The kind of card that the reader has last named when it was asked for a UID, or reported in a
 * search. Not the card type: that is GetNewCardType.
 *   Returns  16 an identity card; 4 or another value up to 255 for other cards, as the reader
 *            names them; 0 none.
 *   Engine   created.
 */
IDCARDREADER_API int32_t readCardGetCardType(void);

/*
 * Chooses the reader that the next read opens, and gives the service three seconds instead of two
 * for its final answer. The serial port is that of conf.yaml: on Windows COM and comnum (1 to 999),
 * on Linux comname when it begins with "/", else /dev/ttyS and comnum less 1; comport is the baud
 * rate.
 *   kind     1 the serial reader; any other value the USB reader, which is also the default.
 *   Returns  1 done; 0 a read or a search is running, nothing changed.
 *   Engine   created.
 */
IDCARDREADER_API int32_t readCardSetDeviceType(int32_t kind);

/*
 * Whether the reader beeps for half a second after each card that was read. Off at first.
 *   on       8-bit flag: 0 off, anything else on.
 *   Returns  nonzero done; 0 the engine could not be created. The value has no other meaning.
 *   Engine   created.
 */
IDCARDREADER_API uint64_t readCardBeep(int32_t on);

/* ============================================================================================
 * Standard reader interface: for hosts written for a reader with a security module of its own. This
 * reader has none, so only the search, the selection (which reads the card) and the functions that
 * hand out blocks do something; the others succeed and yield fixed values.
 *
 *     SDT_OpenPort(1001);                         no effect
 *     if (SDT_StartFindIDCard(1001, word) == IDCARDREADER_SDT_CARD_FOUND &&
 *         SDT_SelectIDCard(1001, word) == IDCARDREADER_SDT_SUCCESS)
 *       SDT_ReadBaseFPMsg(...);                   blocks of the card, as often as you like
 *     SDT_ClosePort(1001);                        no effect; CloseComm closes
 *
 * The port is ignored: a process has one reader. Arguments that hosts of this interface pass behind
 * those declared here are ignored as well. Only resident identity cards have a text block, so the
 * other types give IDCARDREADER_SDT_NOTHING_READ here and are fetched field by field. Each buffer
 * has at least the bytes named above, IDCARDREADER_TEXT_BLOCK_BYTES and so on, and never gets more;
 * each length is stored in bytes. A buffer and its length stay untouched when the block is not
 * held.
 *
 * Text block, 256 bytes: UTF-16 little-endian, unused bytes zero. A longer value is cut.
 *     offset   0, 15 characters  name
 *             30,  1             sex: "1" male, "2" female, "0" unknown, "9" not stated
 *             32,  2             nation, two digits
 *             36,  8             date of birth, YYYYMMDD
 *             52, 35             address
 *            122, 18             identity number
 *            158, 15             issuing authority
 *            188,  8             valid from, YYYYMMDD
 *            204,  8             valid until, YYYYMMDD or a word meaning "for ever"
 *            220, 18             zero
 * Photo block, 1024 bytes: the picture as the card holds it, compressed. To be seen it needs an
 * outside decoder, which is not part of this library.
 * Fingerprint block, 512 or 1024 bytes: as the card holds it. The content that the service sends
 * today never carries one, so the functions that hand it out yield nothing.
 * ============================================================================================ */

/* Nothing to do: always IDCARDREADER_SDT_SUCCESS. */
IDCARDREADER_API int32_t SDT_OpenPort(int32_t port);
IDCARDREADER_API int32_t SDT_ClosePort(int32_t port);
IDCARDREADER_API int32_t SDT_ResetSAM(int32_t port);
IDCARDREADER_API int32_t SDT_GetSAMStatus(int32_t port);
IDCARDREADER_API int32_t SDT_SetMaxRFByte(int32_t port);
IDCARDREADER_API int32_t SDT_SetCOMBaud(int32_t port);

/*
 * Fixed values, always with IDCARDREADER_SDT_SUCCESS. A null pointer is passed over. No zero byte
 * is written behind a text.
 *   SDT_GetCOMBaud          115200, whatever the baud rate is.
 *   SDT_GetErrorString      1 byte, "@".
 *   SDT_GetSAMID,
 *   SDT_GetSAMIDToStr       16 bytes, ASCII digits.
 *   SDT_ReadIINSNDN         28 bytes, ASCII digits.
 *   SDT_ReadIINSNDNToASCII,
 *   SDT_ReadMngInfo         56 bytes, ASCII digits.
 */
IDCARDREADER_API int32_t SDT_GetCOMBaud(int32_t port, uint32_t* baudRate);
IDCARDREADER_API int32_t SDT_GetErrorString(int32_t port, char* text);
IDCARDREADER_API int32_t SDT_GetSAMID(int32_t port, uint8_t* id);
IDCARDREADER_API int32_t SDT_GetSAMIDToStr(int32_t port, char* id);
IDCARDREADER_API int32_t SDT_ReadIINSNDN(int32_t port, uint8_t* serial);
IDCARDREADER_API int32_t SDT_ReadIINSNDNToASCII(int32_t port, uint8_t* management);
IDCARDREADER_API int32_t SDT_ReadMngInfo(int32_t port, uint8_t* management);

/* Not supported: always IDCARDREADER_SDT_NO_FINGERPRINT. */
IDCARDREADER_API int32_t SDT_ReadNewAppMsg(int32_t port);

/*
 * Asks once whether a card is on the reader: the automatic search of readCardStart.
 *   managementInformation  gets 4 bytes, "0123", whatever the result; may be null.
 *   Returns  IDCARDREADER_SDT_CARD_FOUND or IDCARDREADER_SDT_NO_CARD.
 *   Engine   created.
 */
IDCARDREADER_API int32_t SDT_StartFindIDCard(int32_t port, uint8_t* managementInformation);

/*
 * Reads the card as readCardStart(0) does: it blocks, and when it fails it empties the text that
 * the functions that return one share. readCardGetLastError tells why it failed.
 *   managementInformation  gets 4 bytes, "0123"; may be null.
 *   Returns  IDCARDREADER_SDT_SUCCESS or IDCARDREADER_SDT_NOT_SELECTED.
 *   Engine   created.
 */
IDCARDREADER_API int32_t SDT_SelectIDCard(int32_t port, uint8_t* managementInformation);

/*
 * Copies the text block and, when held, the photo block.
 *   Returns  IDCARDREADER_SDT_SUCCESS or IDCARDREADER_SDT_NOTHING_READ. Works without an engine:
 *            the blocks outlive it.
 */
IDCARDREADER_API int32_t SDT_ReadBaseMsg(int32_t port, uint8_t* text, uint32_t* textLength,
                                         uint8_t* photo, uint32_t* photoLength);

/*
 * Copies the text block and, when held, the photo and the fingerprint block. Both names do the
 * same.
 *   Returns  IDCARDREADER_SDT_SUCCESS or IDCARDREADER_SDT_NOTHING_READ, the latter also when there
 *            is no engine.
 */
IDCARDREADER_API int32_t SDT_ReadBaseFPMsg(int32_t port, uint8_t* text, uint32_t* textLength,
                                           uint8_t* photo, uint32_t* photoLength,
                                           uint8_t* fingerprint, uint32_t* fingerprintLength);
IDCARDREADER_API int32_t SDT_ReadBaseMsgFingerPrint(int32_t port, uint8_t* text,
                                                    uint32_t* textLength, uint8_t* photo,
                                                    uint32_t* photoLength, uint8_t* fingerprint,
                                                    uint32_t* fingerprintLength);

/*
 * Write the same blocks to files, their bytes and nothing else.
 *   ...FileName  zero-terminated, in the system's ANSI code page (on Linux bytes as they stand),
 *                relative to the current directory. A file that cannot be written is passed over
 *                without a report, and so is a null pointer.
 *   ...Length    gets the block's number of bytes when it is held, also when its file was not
 *                written; may be null.
 *   Returns      IDCARDREADER_SDT_SUCCESS or IDCARDREADER_SDT_NOTHING_READ, the latter also when
 *                there is no engine.
 */
IDCARDREADER_API int32_t SDT_ReadBaseMsgToFile(int32_t port, const char* textFileName,
                                               uint32_t* textLength, const char* photoFileName,
                                               uint32_t* photoLength);
IDCARDREADER_API int32_t SDT_ReadBaseFPMsgToFile(int32_t port, const char* textFileName,
                                                 uint32_t* textLength, const char* photoFileName,
                                                 uint32_t* photoLength,
                                                 const char* fingerprintFileName,
                                                 uint32_t* fingerprintLength);

/*
 * Copies the fingerprint block, IDCARDREADER_FINGERPRINT_BLOCK_BYTES at most; with today's service
 * there is none.
 *   Returns  IDCARDREADER_SDT_SUCCESS or IDCARDREADER_SDT_NO_FINGERPRINT. Works without an engine.
 */
IDCARDREADER_API int32_t SDT_ReadFPMsg(int32_t port, uint8_t* fingerprint,
                                       uint32_t* fingerprintLength);

/* ============================================================================================
 * Older interfaces.
 *
 *     InitComm(1001);                    no effect: the first read opens the reader
 *     Authenticate();                    asks once for a card
 *     if (Read_Content(1)) ...           reads it and writes its files
 *     CloseComm();
 * ============================================================================================ */

/* Nothing to do: always 1. */
IDCARDREADER_API int32_t InitComm(int32_t port);
IDCARDREADER_API int32_t Routon_IC_FindCard(void);
IDCARDREADER_API int32_t Routon_Set210Update(void);
IDCARDREADER_API int32_t Routon_SetNewVersion(void);
IDCARDREADER_API int32_t Routon_StartFindIDCard(void);

/*
 * Asks once whether a card is on the reader, as SDT_StartFindIDCard does.
 *   Returns  always 0, card or not: hosts of this interface go on to Read_Content in any case.
 *   Engine   created.
 */
IDCARDREADER_API int32_t Authenticate(void);

/*
 * Reads the card as readCardStart(0) does, which blocks and, when it fails, empties the text that
 * the functions that return one share. Then writes files into the current directory.
 *   mode     1 the text block to "WZ.TXT", the photo block to "ZP.WLT" and, when WltRS.dll
 *            (libWltRS.so) is there, the photo as a bitmap by its function GetBmp; 2 the two files
 *            only; any other value no files. The file of a block that this card lacks is removed,
 *            so that none of the card before stays. A file that cannot be written is passed over; a
 *            photo that could not be written whole is not made a bitmap.
 *   Returns  1 the card was read; 0 it was not.
 *   Engine   created.
 */
IDCARDREADER_API int32_t Read_Content(int32_t mode);

/*
 *   serialNumber  at least 16 bytes; gets 16 fixed ASCII digits without a zero byte. May be null.
 *   Returns       always 1.
 */
IDCARDREADER_API int32_t ReadIINSNDN(char* serialNumber);

/*
 * Hands its argument to the function dewlt of Dewlt.dll (libDewlt.so), which is loaded on first use
 * and stays loaded; see FILES for where it must lie.
 *   Returns  what that returns; 0 when it is not there.
 */
IDCARDREADER_API uintptr_t dewlt(uintptr_t argument);

/*
 * Sounds the reader, if it is open and no read is running. The first two arguments are ignored.
 *   milliseconds  counts in units of 10, at least one; from 2,560 on it starts again at one unit.
 *   Returns       always 1.
 *   Engine        not created.
 */
IDCARDREADER_API int32_t HID_BeepLED(int32_t beep, int32_t led, int32_t milliseconds);
IDCARDREADER_API int32_t Routon_BeepLED(int32_t beep, int32_t led, int32_t milliseconds);

/*
 *   version  gets the one byte "1", without a zero byte. May be null.
 *   Returns  always 1.
 */
IDCARDREADER_API int32_t Routon_Get210Version(char* version);

/*
 * Copies the text block of the last card. Not to be called while another thread is in a blocking
 * read.
 *   text, textLength  at least IDCARDREADER_TEXT_BLOCK_BYTES bytes, and never more are written;
 *                     gets the number of bytes.
 *   Returns           1; 0 no text block is held, nothing was copied.
 */
IDCARDREADER_API int32_t Routon_ReadBaseMsg(uint8_t* text, uint32_t* textLength);

/*
 * Shuts the engine down as readCardDestory does and gives it back. The next function that needs an
 * engine creates a new one, which reads conf.yaml and the data files again. It waits until the
 * functions that run in other threads have returned: a blocked read is released at once, a command
 * that the reader has been given ends within two seconds, and no name look-up or connection is
 * waited for longer than a second.
 *   Returns  always 1.
 */
IDCARDREADER_API int32_t CloseComm(void);

/* ============================================================================================
 * Fields as texts, for resident identity cards and, where a card has the field, for all types.
 *
 * Each returns a pointer (see the top for how long it holds) to the field of the last card; to an
 * empty text when the card has no such field, the fields are cleared, or there is no engine. None
 * creates the engine. "No spaces" means that every space was removed.
 * ============================================================================================ */

/* Name, GBK, no spaces; the Chinese name of permanent residence cards. */
IDCARDREADER_API const char* GetPeopleName(void);
/* Sex in words, GBK. */
IDCARDREADER_API const char* GetPeopleSex(void);
/* Nation in words, GBK; resident identity cards only. */
IDCARDREADER_API const char* GetPeopleNation(void);
/* Date of birth, YYYYMMDD, UTF-8. */
IDCARDREADER_API const char* GetPeopleBirthday(void);
/* Address, GBK, no spaces; resident identity cards and residence permits. */
IDCARDREADER_API const char* GetPeopleAddress(void);
/* Identity or permit number, UTF-8. */
IDCARDREADER_API const char* GetPeopleIDCode(void);
/* Valid from, YYYYMMDD, UTF-8. */
IDCARDREADER_API const char* GetStartDate(void);
/* Valid until, YYYYMMDD or a word meaning "for ever", GBK. */
IDCARDREADER_API const char* GetEndDate(void);
/* Issuing authority, GBK, no spaces. */
IDCARDREADER_API const char* GetDepartment(void);

/* ============================================================================================
 * Fields into buffers, for all types of card.
 *
 * Each copies the field of the last card to the caller's buffer, WITHOUT a terminating zero, and
 * returns 1; it returns 0 and leaves the buffer untouched when the card has no such field, the
 * fields are cleared, or there is no engine. Zero the buffer first. A buffer has at least
 * IDCARDREADER_FIELD_BYTES bytes, or IDCARDREADER_LONG_FIELD_BYTES where it is said so. Each
 * function writes that number less one at most: a longer field is cut behind its last whole
 * character, GBK or UTF-8 as it is said. None creates the engine.
 * ============================================================================================ */

/*
 *   Returns  one of IDCARDREADER_CARD_*: which type of card was read, and so which fields it has.
 */
IDCARDREADER_API int32_t GetNewCardType(void);
/* Name, GBK, no spaces; the Chinese name of permanent residence cards. */
IDCARDREADER_API int32_t GetNewPeopleName(char* buffer);
/* Sex in words, GBK. */
IDCARDREADER_API int32_t GetNewPeopleSex(char* buffer);
/* Nation in words, GBK; resident identity cards only. */
IDCARDREADER_API int32_t GetNewPeopleNation(char* buffer);
/* Date of birth, YYYYMMDD, UTF-8. */
IDCARDREADER_API int32_t GetNewPeopleBirthday(char* buffer);
/* Address, GBK, no spaces; at least IDCARDREADER_LONG_FIELD_BYTES. Resident cards and permits. */
IDCARDREADER_API int32_t GetNewPeopleAddress(char* buffer);
/* Identity or permit number, UTF-8. */
IDCARDREADER_API int32_t GetNewPeopleIDCode(char* buffer);
/* Valid from, YYYYMMDD, UTF-8. */
IDCARDREADER_API int32_t GetNewStartDate(char* buffer);
/* Valid until, YYYYMMDD or a word meaning "for ever", GBK. */
IDCARDREADER_API int32_t GetNewEndDate(char* buffer);
/* Issuing authority, GBK, no spaces. */
IDCARDREADER_API int32_t GetNewDepartment(char* buffer);
/* Pass number, UTF-8; residence permits only. */
IDCARDREADER_API int32_t GetNewPassNum(char* buffer);
/*
 * English name, UTF-8, no spaces, with its addition directly behind; at least
 * IDCARDREADER_LONG_FIELD_BYTES. Permanent residence cards only.
 */
IDCARDREADER_API int32_t GetNewPeopleNameEn(char* buffer);
/*
 * Nationality, GBK: what the card has behind its first "/". Permanent residence cards only, and
 * only when the nationality has a "/".
 */
IDCARDREADER_API int32_t GetNewPeopleCountryCode(char* buffer);
/* Nationality, GBK: what the card has before its first "/". As above. */
IDCARDREADER_API int32_t GetNewPeopleCountry(char* buffer);
/*
 * The photo block of a card of any type, fetched anew from the fields.
 *   photo        at least IDCARDREADER_PHOTO_BLOCK_BYTES bytes, and never more are written.
 *   photoLength  gets the number of bytes copied.
 *   Returns      1 copied; 0 no photo, the fields are cleared, or there is no engine: buffer and
 *                length are untouched. When the fields are cleared, the SDT_* functions hand out no
 *                photo after this call either: fetch within the two seconds.
 */
IDCARDREADER_API int32_t GetNewPhotoRaw(uint8_t* photo, uint32_t* photoLength);

#ifdef __cplusplus
}
#endif

#endif /* IDCARDREADER_IDCARDREADER_H_ */
