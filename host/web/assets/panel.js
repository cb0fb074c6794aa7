// The live panel: draws the layout, shows what the server pushes over the
// WebSocket /live, and sends console lines and button gestures back.
'use strict';

const live = {
  socket: null, prefix: 'PANEL', layout: null, holdMs: 600, fids: [], words: [],
  state: new Map(),   // key -> [value, type, changedMs]
  looks: new Map(),   // widget -> {own: {...}, REPL: {...}, ATBL: {...}}
  touched: new Set(), laidOut: new Set(), widgets: new Map(), // widget -> element
  streams: new Map(), // name -> {lines: [], paused, filter, box}
  dirty: { state: true, macros: true, looks: new Set(), streams: new Set() },
  history: [], historyAt: 0,
};
const $ = (id) => document.getElementById(id);
const el = (tag, cls, text) => { const e = document.createElement(tag); if (cls) e.className = cls; if (text !== undefined) e.textContent = text; return e; };
const STREAMS = ['event', 'sent', 'notify', 'call', 'log', 'stdout'];
const STREAM_TITLES = { event: 'Events', sent: 'FIDs sent', notify: 'Notifications', call: 'Host calls', log: 'Log', stdout: 'Standard output' };
const TAIL = 300;
const COLORS = { RED: '#c0392b', GREEN: '#2e8b47', BLUE: '#2c5fb8', YELLOW: '#c9a91b', ORANGE: '#e07b1a', PURPLE: '#7d3cb5',
  CYAN: '#1aa3b8', MAGENTA: '#b8338f', WHITE: '#d8dde2', BLACK: '#111', GREY: '#666', GRAY: '#666' };

function send(text) {
  if (live.socket && live.socket.readyState === WebSocket.OPEN) live.socket.send(text);
  else reply('not connected: ' + text);
}
function reply(text) {
  const box = $('replies');
  box.textContent += text + '\n';
  const lines = box.textContent.split('\n');
  if (lines.length > 400) box.textContent = lines.slice(-300).join('\n');
  box.scrollTop = box.scrollHeight;
}
function time(ms) {
  const d = new Date(ms);
  const p = (n, w) => String(n).padStart(w || 2, '0');
  return p(d.getHours()) + ':' + p(d.getMinutes()) + ':' + p(d.getSeconds()) + '.' + p(d.getMilliseconds(), 3);
}

// ---- the panel ----------------------------------------------------------

function makeButton(w, widgetDef) {
  const b = el('button', 'key');
  b.type = 'button';
  b.dataset.widget = w;
  const label = el('span', 'label', widgetDef.label || '');
  label.dataset.own = widgetDef.label || '';
  b.append(el('span', 'num', w.split('.')[3]), el('span', 'lamp'), label);
  b.title = w;
  wireButton(b, w, widgetDef);
  return b;
}
function makeDisplay(w, widgetDef) {
  const d = el('div', 'display');
  d.dataset.widget = w;
  d.append(el('span', 'num', w.split('.')[3]), el('span', 'type'), el('span', 'text', widgetDef.label || ''));
  d.dataset.label = widgetDef.label || '';
  d.title = w;
  return d;
}
function place(e, widgetDef) {
  if (widgetDef.x !== undefined) e.style.gridColumn = (widgetDef.x + 1) + ' / span ' + (widgetDef.w || 1);
  if (widgetDef.y !== undefined) e.style.gridRow = (widgetDef.y + 1) + ' / span ' + (widgetDef.h || 1);
}

function drawLayout() {
  const root = $('workplaces');
  root.textContent = '';
  live.laidOut.clear();
  live.widgets.clear();
  const layout = live.layout || {};
  live.holdMs = Number(layout.holdMs) > 0 ? Number(layout.holdMs) : 600;
  $('holdms').textContent = live.holdMs;
  $('title').textContent = layout.title || '';
  for (const wp of layout.workplaces || []) {
    const box = el('fieldset', 'workplace');
    box.append(el('legend', null, wp.name || ('Workplace ' + wp.id)));
    const modules = el('div', 'modules');
    for (const m of wp.modules || []) {
      const mod = el('div', 'module');
      place(mod, { x: m.x, y: m.y, w: m.w || 6 });
      mod.append(el('div', 'name', (m.name || '') + '  ' + m.id));
      const grid = el('div', 'widgets');
      grid.style.gridTemplateColumns = 'repeat(' + (m.columns || 4) + ', minmax(0, 1fr))';
      for (const widgetDef of m.widgets || []) {
        const w = m.id + '.' + widgetDef.n;
        const e = widgetDef.kind === 'display' ? makeDisplay(w, widgetDef) : makeButton(w, widgetDef);
        place(e, widgetDef);
        grid.append(e);
        live.laidOut.add(w);
        live.widgets.set(w, e);
      }
      mod.append(grid);
      modules.append(mod);
    }
    box.append(modules);
    root.append(box);
  }
  const sel = $('mwp');
  sel.textContent = '';
  const wps = new Set((layout.workplaces || []).map((wp) => Number(wp.id)));
  if (!wps.size) wps.add(0);
  for (const id of wps) sel.append(new Option('' + id, '' + id));
  $('strip').textContent = '';
  for (const w of live.touched) addToStrip(w);
}

function addToStrip(w) {
  if (live.laidOut.has(w) || live.widgets.has(w)) return;
  const looks = live.looks.get(w) || {};
  const all = Object.assign({}, looks.own, looks.REPL, looks.ATBL);
  const isDisplay = ['TEXT', 'TEXTLN1', 'TEXTLN2', 'TYPE', 'INVERT'].some((a) => a in all);
  const e = isDisplay ? makeDisplay(w, {}) : makeButton(w, { label: '' });
  live.widgets.set(w, e);
  $('strip').append(e);
  $('strip-box').hidden = false;
  live.dirty.looks.add(w);
}

// The look of a widget: its own attributes, under the replace layer, under the blink layer.
function composed(w) {
  const looks = live.looks.get(w) || {};
  return Object.assign({}, looks.own || {}, looks.REPL || {}, looks.ATBL || {});
}
function paint(w) {
  const e = live.widgets.get(w);
  if (!e) return;
  const a = composed(w);
  const looks = live.looks.get(w) || {};
  e.title = w + Object.entries(looks).map(([layer, at]) =>
    '\n' + layer + ': ' + Object.entries(at).map(([k, v]) => k + '=' + v).join(' ')).join('');
  e.classList.toggle('blink-fast', a.BLINK === 'FAST' || a.BLINK === 'ON');
  e.classList.toggle('blink-slow', a.BLINK === 'SLOW');
  if (e.classList.contains('key')) {
    const color = a.COLOR || '';
    e.dataset.color = color;
    e.style.background = color ? (COLORS[color.toUpperCase()] || color.toLowerCase()) : '';
    e.querySelector('.lamp').classList.toggle('on', a.LAMP === 'ON');
    e.classList.toggle('active', a.ACTIVE === 'TRUE');
    const label = e.querySelector('.label');
    label.textContent = a.TEXT || a.TEXTLN1 || label.dataset.own;
  } else {
    const lines = a.TEXT !== undefined ? [a.TEXT] : [a.TEXTLN1, a.TEXTLN2].filter((t) => t !== undefined);
    e.querySelector('.text').textContent = lines.length ? lines.join('\n') : e.dataset.label;
    e.querySelector('.type').textContent = a.TYPE || '';
    e.dataset.text = lines.join('\n');
    e.classList.toggle('invert', a.INVERT === 'ON');
  }
}

// Mouse gestures: down at once, hold after the hold time, release when the
// mouse button comes up; with Shift the button stays held until clicked again.
function wireButton(b, w, widgetDef) {
  let timer = null;
  let latchNext = false;
  b.addEventListener('pointerdown', (ev) => {
    if (ev.button !== 0) return;
    ev.preventDefault();
    if (b.classList.contains('latched')) {
      b.classList.remove('latched', 'held', 'down');
      send('release ' + w);
      return;
    }
    b.setPointerCapture(ev.pointerId);
    latchNext = ev.shiftKey;
    if (widgetDef.fid) {
      const reg = $('mreg').value || '1';
      send('line fid ' + widgetDef.fid.replaceAll('{register}', reg) + ' @' + w);
    }
    send('down ' + w);
    b.classList.add('down');
    timer = setTimeout(() => { timer = null; b.classList.add('held'); send('hold ' + w); }, live.holdMs);
  });
  const up = () => {
    if (!b.classList.contains('down') || b.classList.contains('latched')) return;
    if (latchNext) { b.classList.add('latched'); return; }
    if (timer) { clearTimeout(timer); timer = null; }
    b.classList.remove('down', 'held');
    send('release ' + w);
  };
  b.addEventListener('pointerup', up);
  b.addEventListener('pointercancel', up);
}

// ---- state table and macros -------------------------------------------

function renderState() {
  const prefix = $('state-filter').value.trim();
  const keys = [...live.state.keys()].filter((k) => k.startsWith(prefix)).sort();
  const body = $('state-table').tBodies[0];
  const rows = [];
  const now = Date.now();
  for (const k of keys.slice(0, 500)) {
    const [value, type, ms] = live.state.get(k);
    const tr = el('tr', now - ms < 2000 ? 'fresh' : '');
    tr.dataset.key = k;
    tr.append(el('td', null, k), el('td', null, type === 'text' ? value : value + ' (' + type + ')'), el('td', null, time(ms)));
    rows.push(tr);
  }
  if (keys.length > 500) {
    const tr = el('tr', 'more');
    tr.append(el('td', null, (keys.length - 500) + ' more: narrow the prefix'));
    rows.push(tr);
  }
  body.replaceChildren(...rows);
  $('state-count').textContent = keys.length + ' of ' + live.state.size + ' keys';
}

function renderMacros() {
  const wp = $('mwp').value || '0';
  const base = live.prefix + '.MACRO' + wp + '.';
  const get = (k) => (live.state.get(base + k) || [undefined])[0];
  const recording = get('RECORDING.REG');
  const playing = get('LATEST.ACTIVE') === 'ON' ? get('LATEST.REG') : undefined;
  const showEmpty = $('mempty').checked;
  const regs = [];
  for (const k of live.state.keys()) {
    if (!k.startsWith(base + 'REG') || !k.endsWith('.EMPTY')) continue;
    const n = Number(k.slice(base.length + 3, -6));
    if (Number.isInteger(n) && n >= 1) regs.push(n);
  }
  regs.sort((a, b) => a - b);
  const rows = [];
  for (const n of regs) {
    const empty = get('REG' + n + '.EMPTY') === 'TRUE';
    const isRec = String(n) === recording, isPlay = String(n) === playing;
    if (empty && !showEmpty && !isRec) continue;
    const what = isRec ? 'recording' : isPlay ? 'playing' : empty ? 'empty' : 'stored';
    const tr = el('tr', isRec ? 'recording' : isPlay ? 'playing' : '');
    tr.dataset.reg = n;
    tr.append(el('td', null, '' + n), el('td', null, get('REG' + n + '.NAME') || ''), el('td', null, what));
    tr.addEventListener('click', () => { $('mreg').value = n; });
    rows.push(tr);
    if (rows.length > 1000) break;
  }
  $('macro-table').tBodies[0].replaceChildren(...rows);
}

function macroAction(act) {
  const wp = $('mwp').value || '0';
  const reg = $('mreg').value || '1';
  const m = 'MACRO' + wp;
  const recording = (live.state.get(live.prefix + '.' + m + '.RECORDING.REG') || [])[0];
  if (act === 'record') send('line fid ' + m + '.RECORDING.START REG=' + reg);
  if (act === 'stop') send('line fid ' + m + (recording && recording !== 'INV' ? '.RECORDING.STOP' : '.STOP'));
  if (act === 'recall') send('line fid ' + m + '.RECALL REG=' + reg);
  if (act === 'delete') send('line fid ' + m + '.DELETE REG=' + reg);
  if (act === 'name') {
    const name = prompt('Name of register ' + reg);
    if (name !== null) send('line fid ' + m + '.NAME.SET REG=' + reg + ' NAME="' + name.replace(/["\\]/g, '\\$&') + '"');
  }
}

// ---- streams --------------------------------------------------------------

function makeStreams() {
  const root = $('stream-boxes');
  for (const name of STREAMS) {
    const box = el('div', 'stream');
    box.dataset.stream = name;
    const bar = el('div', 'bar');
    const filter = el('input');
    filter.placeholder = 'filter';
    filter.spellcheck = false;
    const pause = el('button', null, 'Pause');
    const count = el('span', 'count');
    bar.append(el('b', null, STREAM_TITLES[name]), filter, pause, count);
    const lines = el('div', 'lines');
    box.append(bar, lines);
    root.append(box);
    const s = { lines: [], paused: false, box, list: lines, filter, count, total: 0 };
    live.streams.set(name, s);
    filter.addEventListener('input', () => renderStream(name));
    pause.addEventListener('click', () => {
      s.paused = !s.paused;
      pause.textContent = s.paused ? 'Go on' : 'Pause';
      box.classList.toggle('paused', s.paused);
      if (!s.paused) renderStream(name);
    });
  }
}
function addStream(name, items, skipped) {
  const s = live.streams.get(name);
  if (!s) return;
  if (skipped) s.lines.push('… ' + skipped + ' more entries went by');
  s.lines.push(...items);
  s.total += items.length + (skipped || 0);
  if (s.lines.length > TAIL) s.lines.splice(0, s.lines.length - TAIL);
  live.dirty.streams.add(name);
}
function renderStream(name) {
  const s = live.streams.get(name);
  if (s.paused) return;
  const f = s.filter.value;
  const shown = f ? s.lines.filter((l) => l.includes(f)) : s.lines;
  s.list.textContent = shown.join('\n');
  s.list.scrollTop = s.list.scrollHeight;
  s.count.textContent = '' + s.total;
}

// ---- command line ---------------------------------------------------------

function candidates(text) {
  const words = text.split(/\s+/);
  const word = words.pop();
  let pool = [];
  if (words.length === 0 || (words.length === 1 && words[0] === '')) pool = live.words;
  else if (words.length === 1 && words[0] === 'fid') pool = live.fids;
  else if (words.length === 1 && words[0] === 'record') pool = live.fids.map((f) => live.prefix + '.' + f);
  return { word, found: pool.filter((p) => p.startsWith(word)).sort() };
}
function complete(input) {
  const { word, found } = candidates(input.value);
  if (!found.length) { $('completions').textContent = 'no completion'; return; }
  let common = found[0];
  for (const f of found) while (!f.startsWith(common)) common = common.slice(0, -1);
  if (common.length > word.length) input.value = input.value.slice(0, input.value.length - word.length) + common;
  if (found.length === 1) input.value += ' ';
  $('completions').textContent = found.length === 1 ? '' : found.slice(0, 60).join('  ') + (found.length > 60 ? '  …' : '');
}

// ---- the socket -----------------------------------------------------------

function apply(msg) {
  if (msg.t === 'hello') {
    live.prefix = msg.prefix || 'PANEL';
    live.layout = msg.layout;
    live.fids = msg.fids || [];
    live.words = msg.words || [];
    live.state.clear();
    live.looks.clear();
    live.touched = new Set(msg.touched || []);
    for (const s of live.streams.values()) { s.lines = []; s.total = 0; }
    drawLayout();
  }
  for (const item of msg.state || []) {
    if (item[1] === null) live.state.delete(item[0]);
    else live.state.set(item[0], [item[1], item[2], item[3]]);
  }
  if (msg.state && msg.state.length) { live.dirty.state = true; live.dirty.macros = true; }
  for (const [w, looks] of Object.entries(msg.looks || {})) {
    if (looks === null) live.looks.delete(w); else live.looks.set(w, looks);
    live.dirty.looks.add(w);
  }
  for (const w of msg.touched || []) { live.touched.add(w); addToStrip(w); }
  for (const [name, s] of Object.entries(msg.streams || {})) addStream(name, s.items, s.skipped);
  for (const r of msg.replies || []) reply(r);
  if (msg.t === 'hello') for (const w of live.widgets.keys()) live.dirty.looks.add(w);
  schedule();
}

let frame = 0;
function schedule() {
  if (frame) return;
  frame = requestAnimationFrame(() => {
    frame = 0;
    if (live.dirty.state) { live.dirty.state = false; renderState(); }
    if (live.dirty.macros) { live.dirty.macros = false; renderMacros(); }
    for (const w of live.dirty.looks) paint(w);
    live.dirty.looks.clear();
    for (const name of live.dirty.streams) renderStream(name);
    live.dirty.streams.clear();
  });
}

function connect() {
  const socket = new WebSocket((location.protocol === 'https:' ? 'wss://' : 'ws://') + location.host + '/live');
  live.socket = socket;
  socket.onopen = () => { $('status').textContent = 'live'; $('status').className = ''; };
  socket.onmessage = (ev) => apply(JSON.parse(ev.data));
  socket.onclose = () => {
    $('status').textContent = 'disconnected: retrying';
    $('status').className = 'off';
    setTimeout(connect, 1000);
  };
}

window.addEventListener('DOMContentLoaded', () => {
  makeStreams();
  $('state-filter').addEventListener('input', renderState);
  $('mwp').addEventListener('change', renderMacros);
  $('mempty').addEventListener('change', renderMacros);
  for (const b of document.querySelectorAll('#macros button[data-act]')) b.addEventListener('click', () => macroAction(b.dataset.act));
  const cmd = $('cmd');
  $('cmdform').addEventListener('submit', (ev) => {
    ev.preventDefault();
    const text = cmd.value.trim();
    if (!text) return;
    live.history.push(text);
    live.historyAt = live.history.length;
    send('line ' + text);
    cmd.value = '';
    $('completions').textContent = '';
  });
  cmd.addEventListener('keydown', (ev) => {
    if (ev.key === 'Tab') { ev.preventDefault(); complete(cmd); }
    else if (ev.key === 'ArrowUp' && live.historyAt > 0) { ev.preventDefault(); cmd.value = live.history[--live.historyAt]; }
    else if (ev.key === 'ArrowDown' && live.historyAt < live.history.length) {
      ev.preventDefault();
      live.historyAt++;
      cmd.value = live.history[live.historyAt] || '';
    }
  });
  setInterval(() => { live.dirty.state = true; schedule(); }, 2000); // the "fresh" highlight fades
  connect();
});
