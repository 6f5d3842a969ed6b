// A card as a drawing: what its file holds, in the way such cards are laid out.

const SVG = 'http://www.w3.org/2000/svg';

export function element(tag, properties = {}, ...children) {
  const made = document.createElement(tag);
  Object.assign(made, properties);
  made.append(...children);
  return made;
}

function silhouette(label) {
  const svg = document.createElementNS(SVG, 'svg');
  svg.setAttribute('viewBox', '0 0 100 125');
  svg.setAttribute('class', 'photo');
  svg.setAttribute('role', 'img');
  svg.setAttribute('aria-label', label);
  const add = (name, attributes) => {
    const part = document.createElementNS(SVG, name);
    for (const [key, value] of Object.entries(attributes)) part.setAttribute(key, value);
    svg.append(part);
  };
  add('rect', { x: 1, y: 1, width: 98, height: 123, rx: 8, fill: 'currentColor', opacity: 0.14 });
  add('circle', { cx: 50, cy: 47, r: 21, fill: 'currentColor', opacity: 0.55 });
  add('path', { d: 'M12 124c0-30 15-47 38-47s38 17 38 47z', fill: 'currentColor', opacity: 0.55 });
  return svg;
}

function date(text) {
  const parts = /^(\d{4})(\d{2})(\d{2})$/.exec(text ?? '');
  return parts ? `${parts[1]}.${parts[2]}.${parts[3]}` : text ?? '';
}

// The members that stand on the face, in their order; the number is drawn below.
const LINES = {
  iden: ['name', 'sex', 'nation', 'birthday', 'address'],
  gat: ['name', 'sex', 'birthday', 'address', 'passCheckId'],
  yjzold: ['nameChinese', 'nameEnglish', 'sex', 'birthday', 'nationlity'],
  yjznew: ['nameChinese', 'nameEnglish', 'nameEnglishAdd', 'sex', 'birthday', 'nationlity'],
};

export const FIELDS = {
  iden: ['name', 'sex', 'nation', 'birthday', 'address', 'id', 'issue', 'startDate', 'endDate'],
  gat: ['name', 'sex', 'birthday', 'address', 'id', 'issue', 'startDate', 'endDate', 'passCheckId'],
  yjzold: ['nameChinese', 'nameEnglish', 'sex', 'birthday', 'nationlity', 'id', 'issue', 'startDate',
    'endDate'],
  yjznew: ['nameChinese', 'nameEnglish', 'nameEnglishAdd', 'sex', 'birthday', 'nationlity', 'id',
    'issue', 'startDate', 'endDate'],
};

export function face(card, t) {
  const json = card.json ?? {};
  const lines = LINES[json.type];
  const kind = element('div', { className: 'kind', textContent: t.kinds[json.type] ?? card.name });
  if (!lines) return element('div', { className: 'face other' }, kind);
  const fields = json.fields ?? {};
  const list = element('dl');
  for (const name of lines) {
    if (!fields[name]) continue;
    const value = name === 'birthday' ? date(fields[name]) : fields[name];
    list.append(element('dt', { textContent: t.fields[name] }),
      element('dd', { textContent: value, className: name.startsWith('name') ? 'big' : '' }));
  }
  const number = element('div', { className: 'number' },
    element('span', { textContent: t.fields.id }), fields.id ?? '');
  const picture = json.photo ? silhouette(t.photo) : element('div');
  return element('div', { className: 'face' }, kind, list, picture, number);
}
