// docs/operation.md against the sources: every log line it quotes is written somewhere, at that level; every signal is in
// the table under that name; every key it names is a key.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const DOCUMENT = fs.readFileSync(path.join(REPOSITORY, 'docs/operation.md'), 'utf8');
const LEVELS = ['debug', 'info', 'warning', 'error', 'critical'];
const ROW = /^\| (debug|info|warning|error|critical|signal \d+) \| `(.*)` \| (.+) \|$/gm;

function sources() {
  return ['platform', 'statemachines', 'src'].flatMap((folder) =>
    fs
      .readdirSync(path.join(REPOSITORY, folder), { recursive: true, encoding: 'utf8' })
      .filter((name) => /\.(cpp|h)$/.test(name))
      .map((name) => fs.readFileSync(path.join(REPOSITORY, folder, name), 'utf8')),
  );
}

/** What is logged at each level, with literals that stand side by side put together. */
function loggedTexts(texts = sources()) {
  const found = Object.fromEntries(LEVELS.map((level) => [level, new Set()]));
  const call =
    /(?:LOG_([A-Z]+)\(|(?:&ILogger::([A-Za-z]+),|\bLog([A-Z][a-z]+)\()\s*(?:fmt::format\()?)\s*"((?:[^"\\\n]|\\.)*)"/g;
  for (const text of texts) {
    const joined = text.replace(/"\s*\n\s*"/g, '');
    for (const [, macro, method, member, literal] of joined.matchAll(call)) {
      found[(macro ?? method ?? member).toLowerCase()]?.add(literal.replace(/\\(.)/g, '$1'));
    }
  }
  return found;
}

function rows() {
  return [...DOCUMENT.matchAll(ROW)].map(([, kind, text]) => ({ kind, text }));
}

test('texts are found at their level, also those of several literals, of the IPC and of the factories', () => {
  const found = loggedTexts([
    'LOG_INFO("a {} "\n   "\\"b\\"", x); Write(&ILogger::Warning, fmt::format("c {}", y));',
    'LogError(fmt::format("d {}", z));',
  ]);
  assert.deepEqual([...found.info, ...found.warning, ...found.error], ['a {} "b"', 'c {}', 'd {}']);
});

test('every quoted log line is in the sources, at the level that is named', () => {
  const logged = loggedTexts();
  const quoted = rows().filter(({ kind }) => !kind.startsWith('signal'));
  assert.ok(quoted.length > 50, `${quoted.length} lines are quoted`);
  assert.deepEqual(
    quoted.filter(({ kind, text }) => !logged[kind].has(text)),
    [],
  );
});

test('every signal is in the table, under its name', () => {
  const table = fs.readFileSync(path.join(REPOSITORY, 'platform/diagnostics/signaltable.cpp'), 'utf8');
  const names = Object.fromEntries(
    [...table.matchAll(/\{(\d+),\s*ESignalType::\w+,\s*"([^"]*)"/g)].map(([, number, name]) => [number, name]),
  );
  const quoted = rows().filter(({ kind }) => kind.startsWith('signal'));
  assert.ok(quoted.length >= 10, `${quoted.length} signals are named`);
  assert.deepEqual(
    quoted.filter(({ kind, text }) => names[kind.slice('signal '.length)] !== text),
    [],
  );
});

test('every row of what tells it has the form that is checked', () => {
  const lines = DOCUMENT.split('\n').filter((line) => /^\| (debug|info|warning|error|critical|signal)\b/.test(line));
  assert.equal(lines.length, rows().length);
});

test('every configuration key that is named is one', () => {
  const meta = JSON.parse(fs.readFileSync(path.join(REPOSITORY, 'data/config/ocpp_meta.json'), 'utf8'));
  const settings = JSON.parse(fs.readFileSync(path.join(REPOSITORY, 'data/config/settings.json'), 'utf8'));
  const known = new Set([...Object.keys(meta), ...Object.keys(settings)]);
  const messages = new Set([
    'Authorize',
    'BootNotification',
    'GetLocalListVersion',
    'NotImplemented',
    'StartTransaction',
    'StatusNotification',
    'StopTransaction',
  ]);
  const named = [...DOCUMENT.matchAll(/`([A-Z][a-z]+[A-Za-z]*)`/g)].map(([, name]) => name);
  assert.deepEqual([...new Set(named.filter((name) => !known.has(name) && !messages.has(name)))], []);
});

test('every link within the document leads to a heading', () => {
  const headings = [...DOCUMENT.matchAll(/^#+ (.+)$/gm)].map(([, text]) =>
    text
      .toLowerCase()
      .replace(/[^\w -]/g, '')
      .replaceAll(' ', '-'),
  );
  const targets = [...DOCUMENT.matchAll(/\]\(#([^)]+)\)/g)].map(([, target]) => target);
  assert.deepEqual(
    targets.filter((target) => !headings.includes(target)),
    [],
  );
});
