'use strict';
// Reads Chinese identity cards by the library idcardreader. See README.md and index.d.ts.

const fs = require('fs');
const path = require('path');
const koffi = require('koffi');
const codes = require('./codes.json');

const CardType = Object.freeze({
  RESIDENT: 1,
  RESIDENCE_PERMIT: 2,
  PERMANENT_OLD: 3,
  PERMANENT_NEW: 4,
});

const READ = 0;
const SEARCH = 1;
const READER_OPENED = 1;
const NO_CARD_CODE = 40;
const ANY_KIND_OF_CARD = 0;
const ANY_PORT = 1001;
const TEXT_BLOCK_BYTES = 256;
const PHOTO_BYTES = 1024;
const FINGERPRINT_BYTES = 1024;
const FIELD_BYTES = 128;
const LONG_FIELD_BYTES = 512;
const UID_BYTES = 121;
// How often a read that is to end is stopped: a stop that comes before it has begun is lost.
const STOP_INTERVAL = 10;
// Between attempts when the reader is not there, between looks at a card that stays, and between
// whole reads.
const PAUSE = 300;

// A process has one engine, whatever the number of readers; its texts share one place.
let lastTurn = Promise.resolve();

class Card {
  constructor(values) {
    Object.assign(this, values);
    Object.freeze(this);
  }

  async savePhoto(file) {
    if (this.photo.length === 0) throw new Error('The card has no photo.');
    await fs.promises.writeFile(file, this.photo);
  }
}

class LibraryError extends Error {
  get name() {
    return 'LibraryError';
  }
}

class ReadError extends Error {
  constructor(code, text) {
    super(code === null ? text : `${text} (code ${code})`);
    const entry = codes.find((one) => one.code === code) || {};
    const { cause = {}, cure = {} } = entry;
    this.code = code;
    this.text = text;
    this.cause = cause.en || '';
    this.cure = cure.en || '';
    this.causeZh = cause.zh || '';
    this.cureZh = cure.zh || '';
  }

  get name() {
    return 'ReadError';
  }
}

class CardReader {
  #library;
  #serial;
  #chosen = false;
  #calls = new Set(); // their AbortControllers
  #goingOn = null; // a search that nobody waits for

  constructor({ library, serial = false } = {}) {
    this.#library = load(library);
    this.#serial = serial;
  }

  async read({ signal } = {}) {
    const call = this.#begin(signal);
    try {
      return await this.#takeTurn(call.signal, () => this.#read(call.signal));
    } finally {
      call.end();
    }
  }

  async *watch({ signal, onProblem = () => {}, polling = this.#serial } = {}) {
    const call = this.#begin(signal);
    let present = ''; // what tells the card that lies there from others; empty for none
    let complaint = ''; // that was made last and still holds
    try {
      for (;;) {
        const seen = await this.#takeTurn(call.signal, () =>
          polling ? this.#poll(present, call.signal) : this.#search(present, call.signal));
        present = seen.present;
        if (!seen.problem) {
          complaint = '';
        } else if (seen.problem.text !== complaint) {
          complaint = seen.problem.text;
          onProblem(seen.problem);
        }
        if (seen.card) yield seen.card;
        if (seen.pause) await unlessAborted(call.signal, pause(PAUSE));
      }
    } finally {
      call.end();
    }
  }

  async close() {
    for (const call of this.#calls) {
      call.abort(new DOMException('The reader was closed', 'AbortError'));
    }
    await this.#takeTurn(new AbortController().signal, async () => {
      await this.#library.CloseComm();
      this.#chosen = false;
    });
  }

  #begin(signal) {
    const controller = new AbortController();
    const pass = () => controller.abort(signal.reason);
    if (signal) {
      if (signal.aborted) pass();
      signal.addEventListener('abort', pass, { once: true });
    }
    this.#calls.add(controller);
    return {
      signal: controller.signal,
      end: () => {
        if (signal) signal.removeEventListener('abort', pass);
        this.#calls.delete(controller);
      },
    };
  }

  async #takeTurn(signal, work) {
    const before = lastTurn;
    let release;
    lastTurn = new Promise((resolve) => (release = resolve));
    try {
      await unlessAborted(signal, before);
    } catch (error) {
      before.then(release);
      throw error;
    }
    try {
      return await work();
    } finally {
      const search = this.#goingOn;
      this.#goingOn = null;
      if (search) {
        search.then(release, release);
      } else {
        release();
      }
    }
  }

  async #read(signal) {
    if (!(await this.#start(READ, signal))) throw this.#lastError();
    const card = fetchCard(this.#library);
    if (!card) throw this.#lastError(); // cleared before all was fetched
    return card;
  }

  // The reader tells of a card by itself. A card that stays may be told of again and is not read
  // again; it has gone when the reader finds no number.
  async #search(present, signal) {
    const found = await this.#start(SEARCH, signal);
    if (!found && this.#library.readCardGetDeviceStatus() !== READER_OPENED) {
      return { present: '', problem: this.#lastError(), pause: true };
    }
    const uid = found || present ? await this.#uid() : '';
    // A card that stays is told of again at once.
    if (!found || !uid || uid === present) return { present: uid, pause: found };
    try {
      return { present: uid, card: await this.#read(signal) };
    } catch (error) {
      return { present: uid, problem: readErrorOnly(error) };
    }
  }

  async #poll(present, signal) {
    try {
      const card = await this.#read(signal);
      return { present: card.dn, card: card.dn === present ? null : card, pause: true };
    } catch (error) {
      const problem = readErrorOnly(error);
      return { present: '', problem: problem.code === NO_CARD_CODE ? null : problem, pause: true };
    }
  }

  async #start(mode, signal) {
    signal.throwIfAborted();
    if (this.#serial && !this.#chosen) {
      this.#chosen = (await this.#library.readCardSetDeviceType(1)) !== 0;
    }
    const ended = this.#library.readCardStart(mode).then((result) => result !== 0);
    if (mode === SEARCH) {
      try {
        return await unlessAborted(signal, ended);
      } catch (error) {
        this.#goingOn = ended; // no stop shortens it
        throw error;
      }
    }
    let timer;
    const stop = () => {
      this.#library.readCardStop();
      timer = timer || setInterval(stop, STOP_INTERVAL);
    };
    signal.addEventListener('abort', stop, { once: true });
    if (signal.aborted) stop();
    try {
      const result = await ended;
      signal.throwIfAborted();
      return result;
    } finally {
      signal.removeEventListener('abort', stop);
      clearInterval(timer);
    }
  }

  async #uid() {
    const buffer = Buffer.alloc(UID_BYTES);
    const found = await this.#library.readCardGetUID(ANY_KIND_OF_CARD, buffer);
    return found ? zeroEnded(buffer).toString('latin1') : '';
  }

  // The library tells a text, not a number: the code is that whose text it begins with.
  #lastError() {
    let message = this.#library.readCardGetLastError();
    let code = null;
    let codeText = Buffer.alloc(0);
    for (let candidate = 2; candidate < 56; ++candidate) {
      const text = this.#library.readCardErrorInfo(candidate);
      if (text.length > codeText.length && startsWith(message, text)) {
        code = candidate;
        codeText = text;
      }
    }
    // Behind it stands the last line of the error log, which mostly begins with it again.
    const logLine = message.subarray(codeText.length);
    if (codeText.length > 0 && startsWith(logLine, codeText)) message = logLine;
    return new ReadError(code, gbk(message));
  }
}

// All of the card that was read last; null when it was cleared before all was fetched. These calls
// do not wait for anything.
function fetchCard(library) {
  const into = (name, size) => {
    const buffer = Buffer.alloc(size);
    return library[name](buffer) ? zeroEnded(buffer) : Buffer.alloc(0);
  };
  const text = Buffer.alloc(TEXT_BLOCK_BYTES);
  const photo = Buffer.alloc(PHOTO_BYTES);
  const fingerprint = Buffer.alloc(FINGERPRINT_BYTES);
  const [textLength, photoLength, fingerprintLength] = [[0], [0], [0]];
  library.SDT_ReadBaseFPMsg(
    ANY_PORT, text, textLength, photo, photoLength, fingerprint, fingerprintLength);
  // A card without a text block yields its photo this way only.
  if (photoLength[0] === 0) library.GetNewPhotoRaw(photo, photoLength);
  const values = {
    type: 0,
    dn: utf8(library.readCardGetDN()),
    name: gbk(library.GetPeopleName()),
    englishName: utf8(into('GetNewPeopleNameEn', LONG_FIELD_BYTES)),
    sex: gbk(library.GetPeopleSex()),
    nation: gbk(library.GetPeopleNation()),
    country: gbk(into('GetNewPeopleCountry', FIELD_BYTES)),
    countryCode: gbk(into('GetNewPeopleCountryCode', FIELD_BYTES)),
    birthday: utf8(library.GetPeopleBirthday()),
    address: gbk(library.GetPeopleAddress()),
    idNumber: utf8(library.GetPeopleIDCode()),
    passNumber: utf8(into('GetNewPassNum', FIELD_BYTES)),
    authority: gbk(library.GetDepartment()),
    validFrom: utf8(library.GetStartDate()),
    validUntil: gbk(library.GetEndDate()),
    textBlock: text.subarray(0, textLength[0]),
    photo: photo.subarray(0, photoLength[0]),
    fingerprint: fingerprint.subarray(0, fingerprintLength[0]),
  };
  values.type = library.GetNewCardType(); // last: 0 when the fields were cleared meanwhile
  return values.type === 0 ? null : new Card(values);
}

function load(stated = process.env.IDCARDREADER_LIBRARY) {
  if (koffi.sizeof('void *') !== 8) {
    throw new LibraryError('The library needs a 64-bit Node.js; this one has 32 bits.');
  }
  const byName = process.platform === 'win32'
    ? ['idcardreader.dll']
    : ['libidcardreader.so.2', 'libidcardreader.so'];
  const reasons = [];
  for (const name of stated ? [path.resolve(stated)] : byName) {
    try {
      return declare(koffi.load(name));
    } catch (error) {
      reasons.push(`${name}: ${error.message}`);
    }
  }
  throw new LibraryError('The library idcardreader cannot be loaded. Name its file, or set ' +
    `IDCARDREADER_LIBRARY to it. (${reasons.join('; ')})`);
}

function declare(library) {
  const functions = {
    readCardStop: library.func('void readCardStop(void)'),
    readCardGetDeviceStatus: library.func('int32_t readCardGetDeviceStatus(void)'),
    GetNewCardType: library.func('int32_t GetNewCardType(void)'),
    GetNewPhotoRaw: library.func('int32_t GetNewPhotoRaw(void *photo, _Out_ uint32_t *length)'),
    SDT_ReadBaseFPMsg: library.func('int32_t SDT_ReadBaseFPMsg(int32_t port, ' +
      'void *text, _Out_ uint32_t *textLength, void *photo, _Out_ uint32_t *photoLength, ' +
      'void *fingerprint, _Out_ uint32_t *fingerprintLength)'),
  };
  // What waits, for a reader or for a service, runs on a thread of its own.
  for (const declaration of [
    'readCardStart(int32_t mode)',
    'readCardSetDeviceType(int32_t kind)',
    'readCardGetUID(int32_t mode, void *buffer)',
    'CloseComm(void)',
  ]) {
    const waiting = library.func(`int32_t ${declaration}`);
    functions[declaration.split('(')[0]] = (...values) =>
      new Promise((resolve, reject) => {
        waiting.async(...values, (error, result) => (error ? reject(error) : resolve(result)));
      });
  }
  // Not "str", which is taken for UTF-8.
  for (const declaration of [
    'readCardGetLastError(void)', 'readCardErrorInfo(int32_t code)', 'readCardGetDN(void)',
    'GetPeopleName(void)', 'GetPeopleSex(void)', 'GetPeopleNation(void)',
    'GetPeopleBirthday(void)', 'GetPeopleAddress(void)', 'GetPeopleIDCode(void)',
    'GetStartDate(void)', 'GetEndDate(void)', 'GetDepartment(void)',
  ]) {
    const text = library.func(`const void *${declaration}`);
    functions[declaration.split('(')[0]] = (...values) => copyText(text(...values));
  }
  for (const name of ['GetNewPassNum', 'GetNewPeopleNameEn', 'GetNewPeopleCountry',
    'GetNewPeopleCountryCode']) {
    functions[name] = library.func(`int32_t ${name}(void *buffer)`);
  }
  return functions;
}

// Byte by byte: nobody knows the length beforehand.
function copyText(pointer) {
  const bytes = [];
  for (;;) {
    const byte = koffi.decode(pointer, bytes.length, 'uint8_t');
    if (byte === 0) return Buffer.from(bytes);
    bytes.push(byte);
  }
}

function zeroEnded(buffer) {
  const end = buffer.indexOf(0);
  return end < 0 ? buffer : buffer.subarray(0, end);
}

const gbk = (bytes) => new TextDecoder('gbk').decode(bytes);
const utf8 = (bytes) => bytes.toString('utf8');
const startsWith = (text, start) => text.subarray(0, start.length).equals(start);

function readErrorOnly(error) {
  if (error instanceof ReadError) return error;
  throw error;
}

const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

async function unlessAborted(signal, promise) {
  signal.throwIfAborted();
  let abort;
  const aborted = new Promise((_, reject) => {
    abort = () => reject(signal.reason);
    signal.addEventListener('abort', abort, { once: true });
  });
  try {
    return await Promise.race([promise, aborted]);
  } finally {
    signal.removeEventListener('abort', abort);
  }
}

module.exports = { Card, CardReader, CardType, LibraryError, ReadError };
