'use strict';
// Does the commands that it is given with the Node.js binding; see tests/bindings/README.md.
const fs = require('fs');
const { CardReader, LibraryError, ReadError } = require('idcardreader');

const CARD = ('type dn name englishName sex nation country countryCode birthday address idNumber ' +
  'passNumber authority validFrom validUntil textBlock photo fingerprint').split(' ');
const ERROR = 'code text cause cure causeZh cureZh'.split(' ');

let reader;
let lastCard;

// At once, also when the process is ended behind it.
function show(kind, keys, values) {
  const text = (value) => (Buffer.isBuffer(value) ? value.toString('hex') : value ?? 0);
  const lines = keys.map((key) => `${key}: ${text(values[key])}`);
  fs.writeSync(1, [kind, ...lines, 'end', ''].join('\n'));
}

const showCard = (card) => show('card', CARD, card);
const showError = (error) => show('error', ERROR, error);
const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

async function read(signal) {
  try {
    lastCard = await reader.read({ signal });
    showCard(lastCard);
  } catch (error) {
    if (!(error instanceof ReadError)) throw error;
    showError(error);
  }
}

async function watch(signal, polling, onCard) {
  for await (const card of reader.watch({ signal, polling, onProblem: showError })) {
    showCard(card);
    onCard();
  }
}

// Begins the work, aborts it when `when` says so, and tells how long it took to end.
async function cancel(when, work) {
  const controller = new AbortController();
  let aborted = false;
  const ended = work(controller.signal).catch((error) => {
    if (error.name !== 'AbortError') throw error;
    aborted = true;
  });
  await when;
  const begin = performance.now();
  controller.abort();
  await ended;
  if (aborted) show('cancelled', ['ms'], { ms: Math.round(performance.now() - begin) });
}

function watchCards(count, polling) {
  let left = Number(count);
  let done;
  const enough = new Promise((resolve) => (done = resolve));
  const onCard = () => --left === 0 && done();
  return cancel(enough, (signal) => watch(signal, polling, onCard));
}

const COMMANDS = {
  read: () => read(),
  photo: async (file) => {
    await lastCard.savePhoto(file);
    show('photo', ['bytes'], { bytes: lastCard.photo.length });
  },
  'cancel-read': (milliseconds) => cancel(sleep(Number(milliseconds)), read),
  watch: (count) => watchCards(count, false),
  'watch-polling': (count) => watchCards(count, true),
  'cancel-watch': (milliseconds) =>
    cancel(sleep(Number(milliseconds)), (signal) => watch(signal, false, () => {})),
  close: () => reader.close(),
};

async function main(steps) {
  if (!steps.every(([name]) => name in COMMANDS)) throw new LibraryError('unknown command');
  reader = new CardReader();
  for (const [name, value] of steps) await COMMANDS[name](value);
  await reader.close();
}

main(process.argv.slice(2).map((argument) => argument.split(/=(.*)/s))).catch((error) => {
  console.error(error);
  process.exitCode = error instanceof LibraryError ? 2 : 3;
});
