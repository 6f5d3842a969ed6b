import idcardreader.Card;
import idcardreader.CardReader;
import idcardreader.ReadException;
import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;

/** Reads one card and prints it; with the argument "watch" prints each card until Ctrl-C. */
public final class Example {
  private static PrintStream out;
  private static PrintStream err;
  private static volatile int status = 0;

  public static void main(String[] arguments) throws Exception {
    out = new PrintStream(new FileOutputStream(FileDescriptor.out), true, "UTF-8");
    err = new PrintStream(new FileOutputStream(FileDescriptor.err), true, "UTF-8");
    boolean watch = arguments.length == 1 && arguments[0].equals("watch");
    if (arguments.length > 0 && !watch) {
      err.println("usage: Example [watch]");
      System.exit(2);
    }
    try (CardReader reader = new CardReader()) {
      if (watch) {
        Runtime.getRuntime().addShutdownHook(new Thread(() -> end(reader)));
        reader.watch(Example::complain).forEachRemaining(Example::show);
      } else {
        show(reader.read());
      }
    } catch (ReadException error) {
      complain(error);
      System.exit(status = 1);
    } catch (UnsatisfiedLinkError error) {
      err.println(error.getMessage());
      System.exit(2);
    }
  }

  /** Behind Ctrl-C, too, the program has ended well: left to itself, Java would end with 130. */
  private static void end(CardReader reader) {
    reader.close();
    Runtime.getRuntime().halt(status);
  }

  private static void show(Card card) {
    out.println((card.name.isEmpty() ? card.englishName : card.name) + " " + card.idNumber);
    out.println(card.type + ", valid until " + card.validUntil);
    out.println("photo: " + card.photo.length + " bytes");
  }

  private static void complain(ReadException error) {
    err.println("not read: " + error.getMessage());
    err.println(error.cause() + "\n" + error.cure());
  }
}
