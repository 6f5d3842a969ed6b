package idcardreader;

import java.util.Iterator;
import java.util.NoSuchElementException;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.concurrent.CancellationException;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import java.util.function.Consumer;

/**
 * The reader of this process. Any method may be called from any thread; behind {@link #close} the
 * next call opens the reader anew.
 */
public final class CardReader implements AutoCloseable {
  private static final int READ = 0;
  private static final int SEARCH = 1;
  private static final int SERIAL_READER = 1;
  private static final int READER_OPENED = 1;
  private static final int NO_CARD_CODE = 40;
  // How soon a cancel is noticed, and how often a read that is to end is stopped: a stop that comes
  // before the library has begun the read is lost.
  private static final long TICK_MS = 10;
  // Between attempts when the reader is not there, between looks at a card that stays, and between
  // whole reads.
  private static final long PAUSE_MS = 300;

  // A process has one engine, whatever the number of readers, and its texts share one place: one
  // thread calls it.
  private static final ExecutorService ENGINE = Executors.newSingleThreadExecutor(task -> {
    Thread thread = new Thread(task, "idcardreader");
    thread.setDaemon(true);
    return thread;
  });

  private final CardLibrary library;
  private final boolean serial;
  private boolean chosen;
  private final Set<Call> calls = ConcurrentHashMap.newKeySet();

  /**
   * The USB reader, by the library's file that the environment variable IDCARDREADER_LIBRARY names,
   * else by what the system's loader finds.
   *
   * @throws UnsatisfiedLinkError when the library cannot be loaded
   */
  public CardReader() {
    this(null, false);
  }

  /**
   * @param library the library's file, null to look for it
   * @param serial the reader on the serial port of conf.yaml instead of the USB reader
   */
  public CardReader(String library, boolean serial) {
    this.library = new CardLibrary(library);
    this.serial = serial;
  }

  /**
   * Reads the card that lies on the reader.
   *
   * @throws ReadException when it was not read
   * @throws InterruptedException at once when the calling thread is interrupted
   * @throws CancellationException at once when another thread cancels or closes the reader
   */
  public Card read() throws ReadException, InterruptedException {
    Call call = new Call();
    calls.add(call);
    try {
      return await(call, () -> readCard(call));
    } finally {
      calls.remove(call);
    }
  }

  /** Watches without hearing of problems, as the reader wants it. */
  public Watch watch() {
    return watch(problem -> {});
  }

  public Watch watch(Consumer<ReadException> onProblem) {
    return watch(onProblem, serial);
  }

  /**
   * Yields each card that is laid on the reader, once. Goes on when the reader is unplugged and
   * plugged in again or a card cannot be read.
   *
   * @param onProblem hears of that, once as long as it stays the same, on the thread that iterates
   * @param polling whole reads instead of the reader's own search, as a serial reader needs it
   */
  public Watch watch(Consumer<ReadException> onProblem, boolean polling) {
    return new Watch(onProblem, polling);
  }

  /** Ends the reads and watches that are under way; those that come later are not concerned. */
  public void cancel() {
    calls.forEach(Call::cancel);
  }

  /** Ends the reads and watches that are under way, and gives the reader back. */
  @Override
  public void close() {
    cancel();
    Future<?> closed = ENGINE.submit(() -> {
      library.number("CloseComm");
      chosen = false;
    });
    boolean interrupted = false;
    while (true) {
      try {
        closed.get();
        break;
      } catch (InterruptedException interruption) {
        interrupted = true;
      } catch (ExecutionException failure) {
        throw new IllegalStateException(failure.getCause());
      }
    }
    if (interrupted) {
      Thread.currentThread().interrupt();
    }
  }

  /**
   * Cards as they come, until {@link #close}, {@link CardReader#cancel} or an interruption of the
   * thread that iterates. The library goes on searching for up to a second behind that; the next
   * call waits for it.
   */
  public final class Watch implements Iterator<Card>, Iterable<Card>, AutoCloseable {
    private final Consumer<ReadException> onProblem;
    private final boolean polling;
    private final Call call = new Call();
    private Seen seen = new Seen("", null, null, false);
    private String complaint = ""; // that was made last and still holds

    private Watch(Consumer<ReadException> onProblem, boolean polling) {
      this.onProblem = onProblem;
      this.polling = polling;
      calls.add(call);
    }

    @Override
    public Iterator<Card> iterator() {
      return this;
    }

    /** Waits for the next card; false when the watch has ended. */
    @Override
    public boolean hasNext() {
      try {
        while (seen.card == null) {
          if (seen.pause) {
            call.sleep(PAUSE_MS);
          }
          String present = seen.present;
          seen = await(call, () -> polling ? poll(call, present) : search(call, present));
          complain();
        }
        return true;
      } catch (CancellationException cancelled) {
        calls.remove(call);
        return false;
      } catch (InterruptedException interruption) {
        close();
        Thread.currentThread().interrupt();
        return false;
      } catch (ReadException impossible) {
        throw new IllegalStateException(impossible);
      }
    }

    @Override
    public Card next() {
      if (!hasNext()) {
        throw new NoSuchElementException("The watch has ended.");
      }
      Card card = seen.card;
      seen = new Seen(seen.present, null, null, seen.pause);
      return card;
    }

    /** Ends the watch; may be called from any thread. */
    @Override
    public void close() {
      call.cancel();
      calls.remove(call);
    }

    private void complain() {
      if (seen.problem == null) {
        complaint = "";
      } else if (!seen.problem.text().equals(complaint)) {
        complaint = seen.problem.text();
        onProblem.accept(seen.problem);
      }
    }
  }

  /** What a look at the reader has shown. */
  private static final class Seen {
    final String present; // what tells the card that lies there from others; empty for none
    final Card card;
    final ReadException problem;
    final boolean pause;

    Seen(String present, Card card, ReadException problem, boolean pause) {
      this.present = present;
      this.card = card;
      this.problem = problem;
      this.pause = pause;
    }
  }

  // These three run on the engine's thread.

  private Card readCard(Call call) throws ReadException {
    if (!call.beginReading()) {
      throw new CancellationException();
    }
    try {
      choose();
      Card card = library.number("readCardStart", READ) == 0 ? null : Card.fetch(library);
      if (card == null) {
        throw library.lastError();
      }
      return card;
    } finally {
      call.endReading();
    }
  }

  // The reader tells of a card by itself. A card that stays may be told of again and is not read
  // again; it has gone when the reader finds no number.
  private Seen search(Call call, String present) {
    if (call.isCancelled()) {
      throw new CancellationException();
    }
    choose();
    boolean found = library.number("readCardStart", SEARCH) != 0;
    if (!found && library.number("readCardGetDeviceStatus") != READER_OPENED) {
      return new Seen("", null, library.lastError(), true);
    }
    String uid = found || !present.isEmpty() ? library.uid() : "";
    if (!found || uid.isEmpty() || uid.equals(present)) {
      return new Seen(uid, null, null, found); // a card that stays is told of again at once
    }
    try {
      return new Seen(uid, readCard(call), null, false);
    } catch (ReadException problem) {
      return new Seen(uid, null, problem, false);
    }
  }

  private Seen poll(Call call, String present) {
    try {
      Card card = readCard(call);
      return new Seen(card.dn, card.dn.equals(present) ? null : card, null, true);
    } catch (ReadException problem) {
      return new Seen("", null, problem.code() == NO_CARD_CODE ? null : problem, true);
    }
  }

  private void choose() {
    if (serial && !chosen) {
      chosen = library.number("readCardSetDeviceType", SERIAL_READER) != 0;
    }
  }

  /** Waits for what the engine's thread does, but no longer than the call goes on. */
  private <T> T await(Call call, Callable<T> work) throws ReadException, InterruptedException {
    Future<T> future = call.isCancelled() ? null : ENGINE.submit(work);
    boolean interrupted = false;
    while (true) {
      try {
        if (call.isCancelled()) {
          if (future == null || !call.isReading()) {
            break; // what does not read ends by itself; no stop shortens it
          }
          library.stop();
        }
        T result = future.get(TICK_MS, TimeUnit.MILLISECONDS);
        if (!call.isCancelled()) {
          return result;
        }
        break;
      } catch (TimeoutException stillRunning) {
        continue;
      } catch (InterruptedException interruption) {
        interrupted = true;
        call.cancel();
      } catch (ExecutionException failure) {
        if (call.isCancelled()) {
          break;
        }
        if (failure.getCause() instanceof ReadException) {
          throw (ReadException) failure.getCause();
        }
        throw new IllegalStateException(failure.getCause());
      }
    }
    if (interrupted) {
      throw new InterruptedException("The read was interrupted.");
    }
    throw new CancellationException("The read was cancelled.");
  }

  /** A read or a watch that is under way. */
  private static final class Call {
    private boolean cancelled;
    private boolean reading;

    synchronized void cancel() {
      cancelled = true;
      notifyAll();
    }

    synchronized boolean isCancelled() {
      return cancelled;
    }

    /** False when there is nobody left to read for. */
    synchronized boolean beginReading() {
      reading = !cancelled;
      return reading;
    }

    synchronized void endReading() {
      reading = false;
    }

    synchronized boolean isReading() {
      return reading;
    }

    synchronized void sleep(long milliseconds) throws InterruptedException {
      long end = System.nanoTime() + TimeUnit.MILLISECONDS.toNanos(milliseconds);
      for (long left = milliseconds; left > 0 && !cancelled; ) {
        wait(left);
        left = TimeUnit.NANOSECONDS.toMillis(end - System.nanoTime());
      }
    }
  }
}
