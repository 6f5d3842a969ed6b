'use strict';
// Reads one card and prints it; "node example.js watch" prints each card until Ctrl-C.
const { CardReader, ReadError } = require('.');

function show(card) {
  console.log(card.name || card.englishName, card.idNumber);
  console.log('valid until', card.validUntil);
  console.log('photo:', card.photo.length, 'bytes');
}

function complain(error) {
  console.error(['not read:', error.message, error.cause, error.cure].filter(Boolean).join('\n'));
}

async function main(mode) {
  const reader = new CardReader();
  try {
    if (mode === 'watch') {
      const controller = new AbortController();
      process.once('SIGINT', () => controller.abort());
      const watch = reader.watch({ signal: controller.signal, onProblem: complain });
      for await (const card of watch) show(card);
    } else {
      show(await reader.read());
    }
    return 0;
  } catch (error) {
    if (error.name === 'AbortError') return 0;
    if (!(error instanceof ReadError)) throw error;
    complain(error);
    return 1;
  } finally {
    await reader.close();
  }
}

const [mode] = process.argv.slice(2);
if (mode !== undefined && mode !== 'watch') {
  console.error('usage: node example.js [watch]');
  process.exitCode = 2;
} else {
  main(mode).then(
    (status) => (process.exitCode = status),
    (error) => {
      console.error(error.message);
      process.exitCode = 2;
    });
}
