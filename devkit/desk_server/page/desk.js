import { element, face, FIELDS } from './cards.js';
import { texts } from './texts.js';

const $ = (id) => document.getElementById(id);

// Where the page's own choice of language is kept; a browser may refuse to keep anything.
const kept = {
  get: () => { try { return localStorage.getItem('language'); } catch { return null; } },
  set: (value) => { try { localStorage.setItem('language', value); } catch { /* not kept */ } },
};

let language = kept.get() ?? document.documentElement.lang;
if (!texts[language]) language = 'en';
let desk = null; // as the server has told it last
let reads = [];
let codes = new Map();
let shownRead = null; // number of an older read that was asked for
let shownReadContent = null;
const t = () => texts[language];

// --- the server

async function send(path, body) {
  const answer = await fetch(path, {
    method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body),
  });
  if (answer.ok) return;
  const told = await answer.json().catch(() => ({}));
  throw new Error(told.error ?? answer.statusText);
}

async function change(path, body) {
  try {
    await send(path, body);
    $('message').textContent = '';
  } catch (problem) {
    $('message').textContent = `${t().notDone} ${problem.message}`;
    draw();
  }
}

function follow() {
  const events = new EventSource('/api/events');
  events.addEventListener('open', () => { $('connection').textContent = ''; });
  events.addEventListener('desk', (event) => {
    desk = JSON.parse(event.data);
    drawDesk();
  });
  events.addEventListener('reads', (event) => {
    reads = JSON.parse(event.data).reads;
    drawReads();
  });
  events.addEventListener('error', () => {
    $('connection').textContent = t().connectionLost;
    if (events.readyState !== EventSource.CLOSED) return;
    setTimeout(follow, 2000);
  });
}

// --- reader, scenario, cards

function lay(name) {
  return change('/api/card', { card: name });
}

function drawDesk() {
  if (!desk) return;
  const onReader = desk.cards.find((card) => card.name === desk.card);
  $('plugged').checked = desk.plugged;
  $('reader').classList.toggle('off', !desk.plugged);
  $('slot').replaceChildren(...(onReader ? [face(onReader, t())] : []));
  $('slot-text').textContent = !desk.plugged ? t().unplugged
    : onReader ? onReader.name : t().noCard;
  $('take-away').disabled = !onReader;
  drawScenarios();
  $('start-line').textContent = desk.startLine;
  drawCards();
}

function scenarioText(scenario) {
  return t().scenarios[scenario.name] ?? scenario.description ?? scenario.name;
}

function drawScenarios() {
  const select = $('scenario');
  const signature = language + desk.scenarios.map((scenario) => scenario.name).join();
  if (select.dataset.signature !== signature) {
    select.dataset.signature = signature;
    select.replaceChildren(element('option', { value: '', textContent: t().noScenario }),
      ...desk.scenarios.map((scenario) => element('option', {
        value: scenario.name, textContent: `${scenario.code ?? '–'}  ${scenarioText(scenario)}`,
      })));
  }
  select.value = desk.scenario ?? '';
  const chosen = desk.scenarios.find((scenario) => scenario.name === desk.scenario);
  const parts = chosen ? [scenarioText(chosen)] : [t().noScenarioText];
  if (chosen?.code !== undefined) parts.push(t().leadsTo(chosen.code, chosen.waits ?? 0));
  if (chosen?.goodReadsBefore) parts.push(t().goodReadsBefore(chosen.goodReadsBefore));
  $('scenario-text').textContent = parts.join(' ');
}

function drawCards() {
  // Whoever is in the list with the keyboard stays where he is.
  const active = document.activeElement?.dataset?.key;
  $('cards').replaceChildren(...desk.cards.map((card) => {
    const isLaid = card.name === desk.card;
    const drawn = face(card, t());
    drawn.draggable = true;
    drawn.addEventListener('dragstart', (event) => event.dataTransfer.setData('text/plain', card.name));
    drawn.addEventListener('dblclick', () => lay(card.name));
    const layButton = element('button', {
      type: 'button', textContent: isLaid ? t().takeAway : t().lay, className: isLaid ? '' : 'main',
      disabled: Boolean(card.problem), onclick: () => lay(isLaid ? null : card.name),
    });
    layButton.setAttribute('aria-label', `${layButton.textContent}: ${card.name}`);
    layButton.dataset.key = `lay ${card.name}`;
    const edit = element('button', { type: 'button', textContent: t().edit, onclick: () => openEditor(card) });
    edit.setAttribute('aria-label', `${t().edit}: ${card.name}`);
    edit.dataset.key = `edit ${card.name}`;
    const description = card.problem ?? t().cards[card.name] ?? card.json?.description ?? '';
    return element('li', { className: isLaid ? 'laid' : '' },
      drawn,
      element('div', { className: 'name', textContent: card.name }),
      element('p', { className: card.problem ? 'wrong' : 'quiet', textContent: String(description) }),
      element('div', { className: 'row' }, layButton, edit));
  }));
  if (active) document.querySelector(`[data-key="${CSS.escape(active)}"]`)?.focus();
}

// --- reads

function outcome(read) {
  if (read.outcome === 'failed') return { text: t().failed(read.code), style: 'wrong' };
  if (read.outcome === 'content-sent') return { text: t().contentSent, style: 'good' };
  const silent = Date.now() - read.last > 10000;
  return { text: silent ? t().noEnd : t().running, style: '' };
}

function clock(time) {
  return new Date(time).toLocaleTimeString(language === 'zh' ? 'zh-CN' : 'en-GB');
}

function drawReads() {
  const newest = reads[0];
  const older = shownRead !== null && reads.find((read) => read.number === shownRead);
  if (!older) shownRead = null;
  const read = older ? shownReadContent : newest;
  drawSteps(read);
  drawFailure(older ? read : reads.find((one) => one.outcome === 'failed'));
  const focused = document.activeElement?.dataset?.key;
  $('reads').replaceChildren(...reads.map((one) => {
    const end = outcome(one);
    const button = element('button', { type: 'button', onclick: () => showRead(one.number) },
      element('span', { className: 'quiet', textContent: clock(one.begin) }),
      element('span', { textContent: one.card || t().noCardShort }),
      element('span', { className: end.style, textContent: end.text }));
    button.dataset.key = `read ${one.number}`;
    button.setAttribute('aria-pressed', String(read?.number === one.number));
    return element('li', {}, button);
  }));
  if (reads.length === 0) $('reads').append(element('li', { className: 'quiet', textContent: t().noReads }));
  if (focused) document.querySelector(`[data-key="${CSS.escape(focused)}"]`)?.focus();
}

async function showRead(number) {
  shownRead = null;
  if (number !== reads[0]?.number) {
    const answer = await fetch(`/api/reads/${number}`);
    if (answer.ok) {
      shownReadContent = await answer.json();
      shownRead = number;
    }
  }
  drawReads();
}

function stepResult(step) {
  const parts = [];
  if (step.ms !== undefined) parts.push(`${step.ms < 10 ? step.ms.toFixed(step.ms < 1 ? 2 : 1) : Math.round(step.ms)} ms`);
  if (step.status) parts.push(t().status(step.status));
  if (step.found === false) parts.push(t().notFound);
  if (step.wanted !== undefined && step.bytes < step.wanted) parts.push(`${step.bytes}/${step.wanted}`);
  else if (step.ms !== undefined && step.bytes === 0) parts.push(t().noAnswer);
  if (step.objection) parts.push(t().refused);
  if (step.spoiled) parts.push(t().spoiled);
  return parts.join(', ');
}

function isBad(step) {
  return Boolean(step.status || step.found === false || step.objection || step.spoiled ||
    step.name === 'transfer-failed' || step.name === 'stray' ||
    (step.ms !== undefined && (step.bytes === 0 || step.bytes < step.wanted)));
}

function drawSteps(read) {
  if (!read) {
    $('read-head').textContent = t().noReads;
    $('steps').replaceChildren();
    return;
  }
  const end = outcome(read);
  $('read-head').textContent = [`${t().readNumber(read.number)}`, read.card || t().noCardShort,
    `${read.last - read.begin} ms`, end.text].join(' · ');
  const steps = [...read.steps].sort((a, b) => a.time - b.time);
  const longest = Math.max(1, ...steps.map((step) => step.ms ?? 0));
  $('steps').replaceChildren(...steps.map((step) => {
    const bar = element('span', { className: 'bar' });
    bar.style.width = `${Math.min(100, 100 * (step.ms ?? 0) / longest)}%`;
    const name = element('span', { textContent: t().steps[step.name] ?? step.name });
    if (step.objection) name.title = step.objection;
    name.append(bar);
    const waits = step.ms === undefined && (step.connection !== undefined || step.number > 0) &&
      step.name !== 'connected' && step.name !== 'closed' && read.outcome === 'running';
    return element('li', { className: `${step.side}${isBad(step) ? ' bad' : ''}${waits ? ' waiting' : ''}` },
      element('span', { className: 'time', textContent: `+${step.time - read.begin}` }),
      element('span', { className: 'side', textContent: t().sides[step.side] }),
      name,
      element('span', { className: 'result', textContent: stepResult(step) }));
  }));
}

function drawFailure(read) {
  const failed = read?.outcome === 'failed' ? read : null;
  $('failure').classList.toggle('shown', Boolean(failed));
  if (!failed) {
    $('failure-content').replaceChildren(element('p', { className: 'quiet', textContent: t().noFailure }));
    return;
  }
  const code = codes.get(failed.code) ?? {};
  const list = element('dl');
  for (const part of ['cause', 'cure']) {
    if (!code[part]) continue;
    list.append(element('dt', { textContent: t()[part] }), element('dd', { textContent: code[part][language] }));
  }
  const causes = failed.log.filter((line) => line !== code.text && line !== `${code.text},`);
  if (causes.length) list.append(element('dt', { textContent: t().log }), element('dd', { textContent: causes.join(' · ') }));
  $('failure-content').replaceChildren(
    element('p', { className: 'code', textContent: `${failed.code}  ${code.text ?? ''}` }),
    element('p', { className: 'quiet', textContent: `${t().readNumber(failed.number)} · ${clock(failed.begin)}` }),
    list);
}

// --- the editor

let editorCard = null;

function openEditor(card) {
  editorCard = card;
  $('editor-name').value = card.name;
  $('editor-json').value = JSON.stringify(card.json, null, 2);
  $('editor-problem').textContent = '';
  $('editor-download').href = `/api/cards/${encodeURIComponent(card.name)}.json`;
  drawEditorFields();
  $('editor').showModal();
}

function editedJson() {
  try {
    return JSON.parse($('editor-json').value);
  } catch {
    return null;
  }
}

function drawEditorFields() {
  const json = editedJson();
  const names = FIELDS[json?.type] ?? [];
  $('editor-fields').replaceChildren(...names.map((name) => {
    const input = element('input', { id: `field-${name}`, value: json.fields?.[name] ?? '', autocomplete: 'off' });
    input.addEventListener('input', () => {
      const changed = editedJson();
      if (!changed) return;
      changed.fields = { ...changed.fields, [name]: input.value };
      // It says what becomes of the fields as they were.
      delete changed.textBlock;
      $('editor-json').value = JSON.stringify(changed, null, 2);
      $('editor-problem').textContent = '';
    });
    return element('div', {}, element('label', { htmlFor: input.id, textContent: t().fields[name] }), input);
  }));
}

async function save() {
  const name = $('editor-name').value.trim();
  const json = editedJson();
  let text = $('editor-json').value;
  // A new card needs a chip of its own, or it would be the same card twice.
  if (json && name !== editorCard.name && json.chip?.seed === editorCard.json?.chip?.seed) {
    json.chip = { ...json.chip, seed: crypto.getRandomValues(new Uint32Array(1))[0] };
    text = JSON.stringify(json, null, 2);
    $('editor-json').value = text;
  }
  try {
    await send('/api/save', { name, json: text });
    $('editor').close();
  } catch (problem) {
    $('editor-problem').textContent = `${t().notSaved} ${problem.message}`;
  }
}

// --- all of it

function draw() {
  document.documentElement.lang = language;
  document.title = t().title;
  for (const part of document.querySelectorAll('[data-text]')) part.textContent = t()[part.dataset.text];
  $('language').textContent = t().otherLanguage;
  $('language').lang = language === 'zh' ? 'en' : 'zh';
  drawDesk();
  drawReads();
  if ($('editor').open) drawEditorFields();
}

$('language').addEventListener('click', () => {
  language = language === 'zh' ? 'en' : 'zh';
  kept.set(language);
  draw();
});
$('plugged').addEventListener('change', (event) => change('/api/reader', { plugged: event.target.checked }));
$('take-away').addEventListener('click', () => lay(null));
$('scenario').addEventListener('change', (event) => change('/api/scenario', { scenario: event.target.value || null }));
$('copy').addEventListener('click', async () => {
  await navigator.clipboard.writeText($('start-line').textContent);
  $('copy').textContent = t().copied;
});
$('editor-json').addEventListener('input', () => {
  $('editor-problem').textContent = '';
  drawEditorFields();
});
$('editor-cancel').addEventListener('click', () => $('editor').close());
$('editor-save').addEventListener('click', save);
$('reader').addEventListener('dragover', (event) => {
  event.preventDefault();
  $('reader').classList.add('target');
});
$('reader').addEventListener('dragleave', () => $('reader').classList.remove('target'));
$('reader').addEventListener('drop', (event) => {
  event.preventDefault();
  $('reader').classList.remove('target');
  const name = event.dataTransfer.getData('text/plain');
  if (desk?.cards.some((card) => card.name === name)) lay(name);
});
// A read without an end becomes one by the passing of time.
setInterval(drawReads, 5000);

draw();
codes = new Map((await (await fetch('/codes.json')).json()).map((code) => [code.code, code]));
follow();
