/*
 * Reads the card on the reader and prints a few lines; with the argument "watch", each card until
 * Ctrl-C. Linked with the library.
 */
#include <idcardreader/idcardreader.h>
#include <idcardreader/status_codes.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <iconv.h>
#endif

enum { TEXT_BYTES = 4096 };

static volatile sig_atomic_t interrupted = 0;

static void Interrupt(int signalNumber) {
  (void)signalNumber;
  interrupted = 1;
}

/* GBK to UTF-8, cut when it does not fit. iconv refuses the private characters of some old cards,
 * which Windows knows; such a text stays empty here. */
static void Decode(const char* gbk, char utf8[TEXT_BYTES]) {
  memset(utf8, 0, TEXT_BYTES);
#if defined(_WIN32)
  wchar_t wide[TEXT_BYTES / 3] = L"";
  MultiByteToWideChar(936, 0, gbk, -1, wide, TEXT_BYTES / 3 - 1);
  WideCharToMultiByte(CP_UTF8, 0, wide, -1, utf8, TEXT_BYTES - 1, NULL, NULL);
#else
  char* from = (char*)gbk;
  char* to = utf8;
  size_t fromLeft = strlen(gbk);
  size_t toLeft = TEXT_BYTES - 1;
  iconv_t converter = iconv_open("UTF-8", "GBK");
  if (converter == (iconv_t)-1) return;
  if (iconv(converter, &from, &fromLeft, &to, &toLeft) == (size_t)-1) memset(utf8, 0, TEXT_BYTES);
  iconv_close(converter);
#endif
}

/* The fields are there for two seconds, and a pointer's text until the next call. */
static void PrintCard(void) {
  char text[TEXT_BYTES];
  uint8_t photo[IDCARDREADER_PHOTO_BLOCK_BYTES];
  uint32_t photoLength = 0;
  Decode(GetPeopleName(), text);
  printf("%s\n", text);
  printf("%s, ", GetPeopleIDCode());
  Decode(GetEndDate(), text);
  printf("valid until %s\n", text);
  GetNewPhotoRaw(photo, &photoLength);
  printf("photo: %u bytes\n", (unsigned)photoLength);
  fflush(stdout);
}

/* The library hands out a text. It begins with the text of a code: the longest one that fits. */
static void PrintError(void) {
  char error[TEXT_BYTES];
  char text[TEXT_BYTES];
  size_t longest = 0;
  int code = 0;
  snprintf(error, sizeof(error), "%s", readCardGetLastError());
  for (int candidate = 2; candidate <= 55; ++candidate) {
    const char* known = readCardErrorInfo(candidate);
    if (strlen(known) > longest && strncmp(error, known, strlen(known)) == 0) {
      longest = strlen(known);
      code = candidate;
    }
  }
  /* Behind it mostly stands the same with the details. */
  Decode(strncmp(error, error + longest, longest) == 0 ? error + longest : error, text);
  fprintf(stderr, "%d: %s\n", code, text);
  for (size_t i = 0; i < sizeof(idcardreaderStatusCodes) / sizeof(*idcardreaderStatusCodes); ++i) {
    const IdcardreaderStatusCode* status = &idcardreaderStatusCodes[i];
    if (status->code == code) fprintf(stderr, "%s\n%s\n", status->cause, status->cure);
  }
}

static void Watch(void) {
  char last[IDCARDREADER_UID_BYTES] = "";
  int missing = 0;
  while (!interrupted) {
    char uid[IDCARDREADER_UID_BYTES] = "";
    const int reported = readCardStart(1); /* waits for up to a second */
    const int lost = !reported && readCardGetDeviceStatus() != 1;
    if (lost && !missing) PrintError();
    missing = lost;
    if (reported || last[0] != 0) readCardGetUID(0, uid);
    if (reported && uid[0] != 0 && strcmp(uid, last) != 0) {
      if (readCardStart(0)) {
        PrintCard();
      } else {
        PrintError();
      }
    }
    strcpy(last, uid);
  }
}

int main(int argumentCount, char** arguments) {
  const int watch = argumentCount == 2 && strcmp(arguments[1], "watch") == 0;
  int read = 1;
  if (argumentCount > 1 && !watch) {
    fprintf(stderr, "Usage: example [watch]\n");
    return 2;
  }
#if defined(_WIN32)
  SetConsoleOutputCP(CP_UTF8);
#endif
  if (watch) {
    signal(SIGINT, Interrupt);
    Watch();
  } else {
    read = readCardStart(0);
    if (read) {
      PrintCard();
    } else {
      PrintError();
    }
  }
  CloseComm();
  return read ? 0 : 1;
}
