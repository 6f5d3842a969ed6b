import idcardreader.Card;
import idcardreader.CardReader;
import idcardreader.ReadException;
import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CancellationException;
import java.util.concurrent.CountDownLatch;

/** Does the commands that it is given with the Java binding; see tests/bindings/README.md. */
public final class Driver {
  private static final List<String> WITHOUT_VALUE = Arrays.asList("read", "close");
  private static final List<String> WITH_VALUE =
      Arrays.asList("photo", "cancel-read", "watch", "watch-polling", "cancel-watch");

  private interface Work {
    /** True when it was cancelled. */
    boolean run() throws Exception;
  }

  private final PrintStream out;
  private final CardReader reader;
  private Card card;

  public static void main(String[] arguments) throws Exception {
    for (String argument : arguments) {
      int equals = argument.indexOf('=');
      boolean known = equals < 0
          ? WITHOUT_VALUE.contains(argument)
          : WITH_VALUE.contains(argument.substring(0, equals));
      if (!known) {
        System.err.println("unknown command " + argument);
        System.exit(2);
      }
    }
    try {
      Driver driver = new Driver();
      for (String argument : arguments) {
        String[] parts = argument.split("=", 2);
        driver.run(parts[0], parts.length > 1 ? parts[1] : "");
      }
      driver.reader.close();
    } catch (UnsatisfiedLinkError error) {
      System.err.println(error.getMessage());
      System.exit(2);
    }
  }

  private Driver() throws Exception {
    out = new PrintStream(new FileOutputStream(FileDescriptor.out), false, "UTF-8");
    reader = new CardReader();
  }

  private void run(String command, String value) throws Exception {
    switch (command) {
      case "read":
        read();
        break;
      case "photo":
        card.savePhoto(Paths.get(value));
        show("photo", "bytes", card.photo.length);
        break;
      case "cancel-read":
        cancelBehind(Long.parseLong(value), this::read);
        break;
      case "watch":
        watchCards(Integer.parseInt(value), false);
        break;
      case "watch-polling":
        watchCards(Integer.parseInt(value), true);
        break;
      case "cancel-watch":
        cancelBehind(Long.parseLong(value), () -> {
          reader.watch(this::showError).forEachRemaining(this::showCard);
          return true;
        });
        break;
      default:
        reader.close();
        break;
    }
  }

  private boolean read() throws InterruptedException {
    try {
      card = reader.read();
      showCard(card);
    } catch (ReadException error) {
      showError(error);
    } catch (CancellationException cancelled) {
      return true;
    }
    return false;
  }

  private void watchCards(int count, boolean polling) throws Exception {
    CountDownLatch left = new CountDownLatch(count);
    CardReader.Watch watch = reader.watch(this::showError, polling);
    cancel(left::await, watch::close, () -> {
      for (Card each : watch) {
        showCard(each);
        left.countDown();
      }
      return true;
    });
  }

  private void cancelBehind(long milliseconds, Work work) throws Exception {
    // Cancels what is under way, so the work has to be: a moment more does not matter.
    cancel(() -> Thread.sleep(Math.max(milliseconds, 5)), reader::cancel, work);
  }

  private interface Wait {
    void until() throws InterruptedException;
  }

  private void cancel(Wait wait, Runnable cancel, Work work) throws Exception {
    boolean[] cancelled = {false};
    Thread thread = new Thread(() -> {
      try {
        cancelled[0] = work.run();
      } catch (Exception failure) {
        failure.printStackTrace();
        System.exit(3);
      }
    });
    thread.start();
    wait.until();
    long begin = System.nanoTime();
    cancel.run();
    thread.join();
    if (cancelled[0]) {
      show("cancelled", "ms", (System.nanoTime() - begin) / 1000000);
    }
  }

  private void showCard(Card each) {
    show("card", "type", each.type.number(), "dn", each.dn, "name", each.name, "englishName",
        each.englishName, "sex", each.sex, "nation", each.nation, "country", each.country,
        "countryCode", each.countryCode, "birthday", each.birthday, "address", each.address,
        "idNumber", each.idNumber, "passNumber", each.passNumber, "authority", each.authority,
        "validFrom", each.validFrom, "validUntil", each.validUntil, "textBlock",
        hex(each.textBlock), "photo", hex(each.photo), "fingerprint", hex(each.fingerprint));
  }

  private void showError(ReadException error) {
    show("error", "code", error.code(), "text", error.text(), "cause", error.cause(), "cure",
        error.cure(), "causeZh", error.causeZh(), "cureZh", error.cureZh());
  }

  private void show(String kind, Object... keysAndValues) {
    List<String> lines = new ArrayList<>();
    lines.add(kind);
    for (int i = 0; i < keysAndValues.length; i += 2) {
      lines.add(keysAndValues[i] + ": " + keysAndValues[i + 1]);
    }
    lines.add("end\n");
    out.print(String.join("\n", lines));
    out.flush();
  }

  private static String hex(byte[] block) {
    StringBuilder digits = new StringBuilder();
    for (byte each : block) {
      digits.append(String.format("%02x", each));
    }
    return digits.toString();
  }
}
