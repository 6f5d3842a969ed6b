/// <reference types="node" />

export const CardType: {
  readonly RESIDENT: 1;
  readonly RESIDENCE_PERMIT: 2;
  readonly PERMANENT_OLD: 3;
  readonly PERMANENT_NEW: 4;
};
export type CardType = (typeof CardType)[keyof typeof CardType];

/** What one card holds. A field or block that the card does not have is empty. */
export class Card {
  private constructor();
  readonly type: CardType;
  /** The chip's number in hexadecimal digits. */
  readonly dn: string;
  readonly name: string;
  readonly englishName: string;
  readonly sex: string;
  readonly nation: string;
  readonly country: string;
  readonly countryCode: string;
  /** YYYYMMDD, as are the two other dates. */
  readonly birthday: string;
  readonly address: string;
  readonly idNumber: string;
  readonly passNumber: string;
  readonly authority: string;
  readonly validFrom: string;
  /** A date, or a word that means "for ever". */
  readonly validUntil: string;
  readonly textBlock: Buffer;
  /** As the card holds it, compressed. */
  readonly photo: Buffer;
  readonly fingerprint: Buffer;

  /** Writes the photo block to a file; rejects when the card has none. */
  savePhoto(file: string | URL): Promise<void>;
}

/** The library could not be loaded. */
export class LibraryError extends Error {}

/** The card was not read. */
export class ReadError extends Error {
  private constructor();
  /** The status code; null when there is none. */
  readonly code: number | null;
  /** The library's text, in Chinese. */
  readonly text: string;
  readonly cause: string;
  readonly cure: string;
  readonly causeZh: string;
  readonly cureZh: string;
}

export interface CardReaderOptions {
  /**
   * The library's file. Left out, it is the file that the environment variable IDCARDREADER_LIBRARY
   * names, else what the system's loader finds by the library's name.
   */
  library?: string;
  /** The reader on the serial port of conf.yaml instead of the USB reader. */
  serial?: boolean;
}

export interface ReadOptions {
  /** Ends the call at once; it rejects with the signal's reason, by default an AbortError. */
  signal?: AbortSignal;
}

export interface WatchOptions extends ReadOptions {
  /** Hears that the reader is missing or a card was not read, once as long as it stays the same. */
  onProblem?: (problem: ReadError) => void;
  /** Whole reads instead of the reader's own search; on for a serial reader when not given. */
  polling?: boolean;
}

/** The reader of this process. Calls take turns. */
export class CardReader {
  /** Throws LibraryError. */
  constructor(options?: CardReaderOptions);

  /** Reads the card that lies on the reader; rejects with ReadError when it was not read. */
  read(options?: ReadOptions): Promise<Card>;

  /**
   * Yields each card that is laid on the reader, once. Goes on when the reader is unplugged and
   * plugged in again or a card cannot be read. Behind an abort the library goes on searching for up
   * to a second; the next call waits for that.
   */
  watch(options?: WatchOptions): AsyncGenerator<Card, void, undefined>;

  /**
   * Aborts what is under way and gives the reader back. The next call opens it anew.
   */
  close(): Promise<void>;
}
