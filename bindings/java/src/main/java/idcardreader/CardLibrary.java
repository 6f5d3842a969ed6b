package idcardreader;

import com.sun.jna.Function;
import com.sun.jna.Native;
import com.sun.jna.NativeLibrary;
import com.sun.jna.Platform;
import com.sun.jna.Pointer;
import com.sun.jna.ptr.IntByReference;
import java.io.File;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/** The library's functions by their names, and its texts as strings. */
final class CardLibrary {
  private static final Charset GBK = Charset.forName("GBK");
  private static final int ANY_PORT = 1001;
  private static final int TEXT_BLOCK_BYTES = 256;
  private static final int PHOTO_BYTES = 1024;
  private static final int FINGERPRINT_BYTES = 1024;
  private static final int LONGEST_FIELD_BYTES = 512;

  private final NativeLibrary library;

  /** The library's file; null for where it is looked for when nothing is said. */
  CardLibrary(String stated) {
    if (Native.POINTER_SIZE != 8) {
      throw new UnsatisfiedLinkError("The library needs a 64-bit Java; this one has 32 bits.");
    }
    String file = stated != null ? stated : System.getenv("IDCARDREADER_LIBRARY");
    List<String> names = file != null && !file.isEmpty()
        ? Collections.singletonList(new File(file).getAbsolutePath())
        : Platform.isWindows()
            ? Collections.singletonList("idcardreader.dll")
            : Arrays.asList("libidcardreader.so.2", "libidcardreader.so");
    List<String> reasons = new ArrayList<>();
    NativeLibrary found = null;
    for (int i = 0; i < names.size() && found == null; ++i) {
      try {
        found = NativeLibrary.getInstance(names.get(i));
        found.getFunction("readCardStart");
      } catch (UnsatisfiedLinkError error) {
        found = null;
        reasons.add(names.get(i) + ": " + error.getMessage());
      }
    }
    if (found == null) {
      throw new UnsatisfiedLinkError("The library idcardreader cannot be loaded. Name its file, or"
          + " set IDCARDREADER_LIBRARY to it. (" + String.join("; ", reasons) + ")");
    }
    library = found;
  }

  int number(String function, Object... arguments) {
    return function(function).invokeInt(arguments);
  }

  void stop() {
    function("readCardStop").invokeVoid(new Object[0]);
  }

  String gbk(String function) {
    return decodeGbk(text(function));
  }

  String utf8(String function) {
    return new String(text(function), StandardCharsets.UTF_8);
  }

  String gbkField(String function) {
    return decodeGbk(buffer(function));
  }

  String utf8Field(String function) {
    return new String(buffer(function), StandardCharsets.UTF_8);
  }

  /** Text, photo and fingerprint block. */
  byte[][] blocks() {
    byte[] text = new byte[TEXT_BLOCK_BYTES];
    byte[] photo = new byte[PHOTO_BYTES];
    byte[] fingerprint = new byte[FINGERPRINT_BYTES];
    IntByReference textLength = new IntByReference();
    IntByReference photoLength = new IntByReference();
    IntByReference fingerprintLength = new IntByReference();
    number("SDT_ReadBaseFPMsg", ANY_PORT, text, textLength, photo, photoLength, fingerprint,
        fingerprintLength);
    if (photoLength.getValue() == 0) {
      // A card without a text block yields its photo this way only.
      number("GetNewPhotoRaw", photo, photoLength);
    }
    return new byte[][] {
      Arrays.copyOf(text, textLength.getValue()),
      Arrays.copyOf(photo, photoLength.getValue()),
      Arrays.copyOf(fingerprint, fingerprintLength.getValue())
    };
  }

  String uid() {
    final int anyKindOfCard = 0;
    byte[] uid = new byte[LONGEST_FIELD_BYTES];
    return number("readCardGetUID", anyKindOfCard, uid) == 0 ? "" : decodeGbk(untilZero(uid));
  }

  /** The library tells a text, not a number: the code is that whose text it begins with. */
  ReadException lastError() {
    byte[] message = text("readCardGetLastError");
    int code = 0;
    byte[] codeText = {};
    for (int candidate = 2; candidate < 56; ++candidate) {
      byte[] text = text("readCardErrorInfo", candidate);
      if (text.length > codeText.length && startsWith(message, text)) {
        code = candidate;
        codeText = text;
      }
    }
    // Behind it stands the last line of the error log, which mostly begins with it again.
    byte[] logLine = Arrays.copyOfRange(message, codeText.length, message.length);
    boolean repeats = codeText.length > 0 && startsWith(logLine, codeText);
    return new ReadException(code, decodeGbk(repeats ? logLine : message));
  }

  /** As Windows decodes code page 936; Java's table differs in four characters. */
  static String decodeGbk(byte[] bytes) {
    StringBuilder text = new StringBuilder(bytes.length);
    for (int i = 0; i < bytes.length; ++i) {
      int lead = bytes[i] & 0xFF;
      boolean pair = lead > 0x80 && lead < 0xFF && i + 1 < bytes.length;
      int code = pair ? lead << 8 | bytes[i + 1] & 0xFF : lead;
      switch (code) {
        case 0x80:
          text.append('\u20AC');
          break;
        case 0xFF:
          text.append('\uF8F5');
          break;
        case 0xA2E3:
          text.append('\uE76C');
          break;
        case 0xA892:
          text.append('\u2295');
          break;
        default:
          text.append(new String(bytes, i, pair ? 2 : 1, GBK));
          break;
      }
      i += pair ? 1 : 0;
    }
    return text.toString();
  }

  /** Copied at once: the next call may change what the pointer leads to. */
  private byte[] text(String function, Object... arguments) {
    Pointer pointer = function(function).invokePointer(arguments);
    return pointer.getByteArray(0, (int) pointer.indexOf(0, (byte) 0));
  }

  private byte[] buffer(String function) {
    byte[] buffer = new byte[LONGEST_FIELD_BYTES];
    return number(function, buffer) == 0 ? new byte[0] : untilZero(buffer);
  }

  private static byte[] untilZero(byte[] buffer) {
    int length = 0;
    while (length < buffer.length && buffer[length] != 0) {
      ++length;
    }
    return Arrays.copyOf(buffer, length);
  }

  private static boolean startsWith(byte[] text, byte[] start) {
    return text.length >= start.length
        && Arrays.equals(Arrays.copyOf(text, start.length), start);
  }

  private Function function(String name) {
    return library.getFunction(name);
  }
}
