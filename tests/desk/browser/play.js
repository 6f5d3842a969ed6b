// Plays the desk's page in Chromium: play.js --port N --folder DIR --pictures DIR.
'use strict';

const assert = require('node:assert/strict');
const { execFile } = require('node:child_process');
const fs = require('node:fs');
const http = require('node:http');
const path = require('node:path');
const { parseArgs } = require('node:util');
const puppeteer = require('puppeteer-core');

const { values } = parseArgs({
  options: { port: { type: 'string' }, folder: { type: 'string' }, pictures: { type: 'string' } },
});
const address = `http://127.0.0.1:${values.port}`;

// readcard beside the desk, started as the page says.
function readcard(line) {
  return new Promise((resolve) => {
    execFile('/bin/sh', ['-c', `${line} --json`], { timeout: 30000 }, (error, output) => {
      resolve({ status: error ? error.code : 0, output });
    });
  });
}

async function main() {
  const browser = await puppeteer.launch({
    executablePath: '/usr/bin/chromium',
    headless: true,
    args: process.getuid() === 0 ? ['--no-sandbox'] : [],
  });
  try {
    const page = await browser.newPage();
    await page.setViewport({ width: 1440, height: 1000 });
    const complaints = [];
    page.on('pageerror', (error) => complaints.push(error.message));
    page.on('console', (message) => {
      if (message.type() === 'error') complaints.push(message.text());
    });
    const foreign = [];
    page.on('request', (request) => {
      if (!request.url().startsWith(address)) foreign.push(request.url());
    });

    const text = (selector) => page.$eval(selector, (found) => found.textContent);
    const shows = (selector, words) => page.waitForFunction(
      (where, what) => document.querySelector(where)?.textContent.includes(what),
      { timeout: 15000 }, selector, words,
    ).catch(async () => assert.fail(`${selector} does not show "${words}" but "${await text(selector)}"`));
    const picture = async (name) => {
      await page.evaluate(() => window.scrollTo(0, 0));
      await page.screenshot({ path: path.join(values.pictures, `${name}.png`) });
    };
    const deskFile = () => JSON.parse(fs.readFileSync(path.join(values.folder, 'virtual-reader.json')));
    // By the keyboard alone: Tab until the element has the focus.
    const tabTo = async (selector) => {
      for (let i = 0; i < 200; ++i) {
        await page.keyboard.press('Tab');
        if (await page.evaluate((wanted) => document.activeElement.matches(wanted), selector)) return;
      }
      assert.fail(`Tab does not lead to ${selector}`);
    };

    const played = [];
    const step = async (name, play) => {
      await play();
      assert.deepEqual(complaints, [], name);
      played.push(name);
      console.log(`passed: ${name}`);
    };

    let line = '';
    await step('the page opens in English, with all cards and scenarios', async () => {
      await page.goto(`${address}/`);
      await shows('#cards', '样本');
      assert.equal(await page.$eval('html', (html) => html.lang), 'en');
      assert.equal((await page.$$('#cards li')).length, 26);
      assert.ok((await page.$$('#scenario option')).length > 45);
      const spoiled = await page.$$eval('[data-text]', (parts) => parts.filter(
        (part) => !part.textContent || part.textContent.includes('object')).length);
      assert.equal(spoiled, 0);
      line = await text('#start-line');
    });

    await step('a card laid by the mouse is read by readcard and appears', async () => {
      await page.click('[data-key="lay resident"]');
      await shows('#slot', '周样本');
      const read = await readcard(line);
      assert.equal(read.status, 0, read.output);
      assert.match(read.output, /周样本/);
      await shows('#reads', 'content sent');
      await shows('#steps', 'sector 21');
      await shows('#steps', 'input key');
      assert.equal((await page.$$('#steps .bad')).length, 0);
      await picture('read');
    });

    await step('a scenario leads to its code, with cause and cure', async () => {
      await page.select('#scenario', '44-input-key-refused');
      await shows('#scenario-text', 'code 44');
      const read = await readcard(line);
      assert.equal(read.status, 1);
      await shows('#failure .code', '44');
      await shows('#reads', 'failed: 44');
      await shows('#steps .bad', 'spoiled by the scenario');
      const codes = await (await fetch(`${address}/codes.json`)).json();
      await shows('#failure', codes[44].cause.en);
      await shows('#failure', codes[44].cure.en);
      await picture('scenario');
      await page.select('#scenario', '');
      await shows('#scenario-text', 'behave');
    });

    await step('without a plug there is no reader, by the keyboard', async () => {
      await page.focus('body');
      await tabTo('#plugged');
      await page.keyboard.press('Space');
      await shows('#slot-text', 'unplugged');
      assert.equal(deskFile().plugged, false);
      assert.equal((await readcard(line)).status, 1);
      await shows('#failure .code', '27');
      await picture('unplugged');
      await page.keyboard.press('Space');
      await shows('#slot-text', 'resident');
    });

    await step('a wrong card is refused with its reason', async () => {
      await tabTo('[data-key="edit resident"]');
      await page.keyboard.press('Enter');
      const right = await page.$eval('#editor-json', (area) => area.value);
      await page.$eval('#editor-json', (area) => {
        area.value = area.value.replace('"iden"', '"nobody"');
        area.dispatchEvent(new Event('input'));
      });
      const refusals = complaints.length;
      await page.click('#editor-save');
      await shows('#editor-problem', '"type" is missing or unknown');
      complaints.splice(refusals); // the browser itself tells of the refusal
      const file = path.join(values.folder, 'cards', 'resident.json');
      assert.equal(JSON.parse(fs.readFileSync(file)).type, 'iden');
      await page.$eval('#editor-json', (area, value) => {
        area.value = value;
        area.dispatchEvent(new Event('input'));
      }, right);
    });

    await step('a card is edited by the keyboard, saved, and read as it is now', async () => {
      await page.focus('#field-name');
      await page.keyboard.down('Control');
      await page.keyboard.press('a');
      await page.keyboard.up('Control');
      await page.keyboard.type('周新名');
      await picture('editor');
      await tabTo('#editor-save');
      await page.keyboard.press('Enter');
      await page.waitForFunction(() => !document.getElementById('editor').open);
      await shows('#slot', '周新名');
      const read = await readcard(line);
      assert.equal(read.status, 0, read.output);
      assert.match(read.output, /周新名/);
      const answer = await fetch(`${address}/api/cards/resident.json`);
      assert.equal((await answer.json()).fields.name, '周新名');
    });

    await step('a copy under another name is a card of its own', async () => {
      await page.click('[data-key="edit resident"]');
      await page.$eval('#editor-name', (input) => { input.value = 'copy'; });
      await page.click('#editor-save');
      await page.waitForSelector('[data-key="lay copy"]');
      await page.click('[data-key="lay copy"]');
      await shows('#slot-text', 'copy');
      assert.equal((await readcard(line)).status, 0);
    });

    await step('a card is taken away by the keyboard', async () => {
      await page.focus('body');
      await tabTo('#take-away');
      await page.keyboard.press('Enter');
      await shows('#slot-text', 'No card');
      assert.equal(deskFile().card, null);
      assert.equal((await readcard(line)).status, 1);
      await shows('#failure .code', '40');
    });

    await step('an earlier read is shown again', async () => {
      await page.click('#reads li:last-child button');
      await shows('#read-head', 'Read 1');
      await shows('#steps', 'sector 21');
      await page.click('#reads li:first-child button');
    });

    await step('the switch turns to Chinese, and the page remembers', async () => {
      await page.focus('body');
      await tabTo('#language');
      await page.keyboard.press('Enter');
      await shows('h1', '读卡台');
      await page.reload();
      await shows('h1', '读卡台');
      await (await page.waitForSelector('[data-key="lay sample"]')).click();
      await page.select('#scenario', '39-reader-status-card-locked');
      await shows('#scenario-text', '卡被锁死');
      assert.equal((await readcard(line)).status, 1);
      await shows('#failure .code', '39');
      const codes = await (await fetch(`${address}/codes.json`)).json();
      await shows('#failure', codes[39].cure.zh);
      await picture('chinese');
      await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: 'dark' }]);
      await picture('dark');
      await page.select('#scenario', '');
      await shows('#scenario-text', '均正常');
    });

    await step('nothing was fetched from elsewhere', async () => assert.deepEqual(foreign, []));

    await step('a page of another origin neither reads nor changes anything', async () => {
      const before = JSON.stringify(deskFile());
      const elsewhere = http.createServer((request, response) => {
        response.setHeader('Content-Type', 'text/html');
        response.end('<!doctype html><title>elsewhere</title>');
      });
      await new Promise((resolve) => elsewhere.listen(0, '127.0.0.1', resolve));
      try {
        const attacker = await browser.newPage();
        await attacker.goto(`http://127.0.0.1:${elsewhere.address().port}/`);
        const gained = await attacker.evaluate(async (desk) => {
          const attempts = [
            () => fetch(`${desk}/api/desk`),
            () => fetch(`${desk}/api/card`, { method: 'POST', body: '{"card":null}' }),
            () => fetch(`${desk}/api/card`, {
              method: 'POST', headers: { 'Content-Type': 'application/json' }, body: '{"card":null}',
            }),
          ];
          const succeeded = [];
          for (const [index, attempt] of attempts.entries()) {
            try {
              await attempt();
              succeeded.push(index);
            } catch { /* the browser keeps it from the page */ }
          }
          // These the browser sends without asking, and tells nobody what became of them.
          await fetch(`${desk}/api/card`, { method: 'POST', mode: 'no-cors', body: '{"card":null}' })
            .catch(() => {});
          const events = await new Promise((resolve) => {
            const source = new EventSource(`${desk}/api/events`);
            source.addEventListener('desk', () => resolve('events'));
            source.addEventListener('error', () => resolve('none'));
          });
          if (events !== 'none') succeeded.push(events);
          const frame = document.createElement('iframe');
          frame.src = `${desk}/`;
          document.body.append(frame);
          await new Promise((resolve) => { frame.addEventListener('load', resolve); });
          const form = document.createElement('form');
          Object.assign(form, { method: 'post', action: `${desk}/api/card`, enctype: 'text/plain' });
          form.append(Object.assign(document.createElement('input'), { name: '{"card":null,"x":"', value: '"}' }));
          document.body.append(form);
          form.submit();
          return succeeded;
        }, address);
        assert.deepEqual(gained, []);
        await attacker.waitForFunction(() => document.body.textContent.includes('foreign Origin'));
        assert.equal(JSON.stringify(deskFile()), before);
        await attacker.close();
      } finally {
        elsewhere.close();
      }
    });
    assert.equal(played.length, 12);
  } finally {
    await browser.close();
  }
}

main().catch((error) => {
  console.error(error);
  process.exit(1);
});
