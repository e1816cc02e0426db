// The documents against the sources: threads, actions, files of a domain, files and headings that are named.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const THREAD = /(?:CWorker|Worker|CThread|Executor)>?\((?:[^"()]|\(\))*"([\w-]+)"|kThreadName = "([\w-]+)"/g;

// What starts a thread, or holds one, without CThread.
const BARE_THREAD = /\bstd::(?:jthread|async|thread)\b(?!::)|\bpthread_create\(/;

const read = (name) => fs.readFileSync(path.join(REPOSITORY, name), 'utf8');

function sources() {
  return ['platform', 'statemachines', 'src'].flatMap((folder) =>
    fs
      .readdirSync(path.join(REPOSITORY, folder), { recursive: true, encoding: 'utf8' })
      .filter((name) => /\.(cpp|h)$/.test(name))
      .map((name) => ({ name: `${folder}/${name}`, text: read(`${folder}/${name}`) })),
  );
}

function namesInSources() {
  return sources().flatMap(({ text }) => [...text.matchAll(THREAD)].map((match) => match[1] ?? match[2]));
}

/** Sources that start a thread of their own and do not give it the name in their kThreadName. */
function nameless(files) {
  return files
    .filter(({ name }) => !name.startsWith('platform/clock/'))
    .map(({ name, text }) => ({ name, text: text.replace(/\/\/.*/g, '') }))
    .filter(({ text }) => BARE_THREAD.test(text))
    .filter(
      ({ text }) => !/kThreadName = "/.test(text) || !/pthread_setname_np\(pthread_self\(\), kThreadName\)/.test(text),
    )
    .map(({ name }) => name);
}

function namesInTable() {
  const text = read('docs/architecture.md');
  const section = text.slice(text.indexOf('\n## Threads'), text.indexOf('\n## Locks'));
  return [...section.matchAll(/^\| `([\w-]+)` \|/gm)].map((match) => match[1]);
}

test('every thread of the process has its line, and every line its thread', () => {
  const names = [...new Set(namesInSources())].sort();
  assert.ok(names.includes('sender') && names.includes('signals'), `found ${names}`);
  assert.deepEqual(namesInTable().sort(), names);
});

test('a thread that is started without CThread is seen when it has no name', () => {
  const bare = 'std::thread([] {}).detach();';
  const named = `constexpr const char* kThreadName = "x"; ${bare} pthread_setname_np(pthread_self(), kThreadName);`;
  const files = [
    { name: 'src/a.cpp', text: bare },
    { name: 'src/b.cpp', text: named },
    { name: 'src/c.cpp', text: 'std::thread::id mId;  // of a std::thread' },
    { name: 'platform/clock/thread.cpp', text: bare },
  ];
  assert.deepEqual(nameless(files), ['src/a.cpp']);
  assert.deepEqual(nameless(sources()), []);
});

/** What README.md says of the actions: one set of names for each row, the last row in two. */
function actionsInReadme() {
  const row = (kind) => new RegExp(`^\\| ${kind} \\| (.*) \\|$`, 'm').exec(read('README.md'))?.[1] ?? '';
  const names = (text) => [...text.matchAll(/`(\w+)`/g)].map(([, name]) => name).sort();
  const [notOfferedIn, notOfferedOut = ''] = row('not offered').split('; never sent: ');
  return {
    in: {
      there: names(row('calls that are answered')),
      later: names(row('not yet answered')),
      never: names(notOfferedIn),
    },
    out: { there: names(row('calls that are sent')), later: names(row('not yet sent')), never: names(notOfferedOut) },
  };
}

/** The same from the table of creators: what has none is not offered, or stands below the comment "Without a class". */
function actionsInSource() {
  const text = read('src/components/operation/ocpp16/operationtable.cpp');
  const actions = (name, kind) => {
    const list = text.slice(text.indexOf(` ${name}()\n`)).split('\n}\n')[0];
    const rest = list.indexOf('// Without a class so far');
    const found = { there: [], later: [], never: [] };
    for (const match of list.matchAll(new RegExp(`\\{E${kind}OpType::E(\\w+), (\\w+)`, 'g'))) {
      const hasNone = match[2] === `No${kind}Call`;
      // The one whose name within the process is not that of OCPP.
      const action = match[1].replace(/^DiagnosticStatus/, 'DiagnosticsStatus');
      found[!hasNone ? 'there' : match.index > rest ? 'later' : 'never'].push(action);
    }
    return Object.fromEntries(Object.entries(found).map(([key, names]) => [key, names.sort()]));
  };
  return { in: actions('GetInCalls', 'In'), out: actions('GetOutCalls', 'Out') };
}

test('README.md says of each action whether it is there', () => {
  const found = actionsInSource();
  assert.ok(found.in.there.includes('ClearCache') && found.out.there.includes('Authorize'), JSON.stringify(found));
  assert.deepEqual(actionsInReadme(), found);
});

test('documents name the files of a domain as the sources do', () => {
  const suffix = /path \+ "(\.\w+)"/.exec(read('platform/icconfig/icconfig.cpp'))[1];
  const companions = /kCompanions = \{(.*)\};/.exec(read('platform/icconfig/domainfile.cpp'))[1];
  const endings = [suffix, ...[...companions.matchAll(/"(-\w+)"/g)].map(([, ending]) => ending)];
  assert.equal(endings.length, 3);
  for (const name of [
    'docs/architecture.md',
    'docs/configuration.md',
    'docs/deployment.md',
    'platform/icconfig/icconfig.h',
  ]) {
    const text = read(name);
    assert.ok(text.includes(`data/config/<domain>${suffix}`), name);
    const missing = endings.slice(1).filter((ending) => !new RegExp(`[\\w"\`]${ending}["\`]`).test(text));
    assert.deepEqual(missing, [], name);
  }
});

test('docs/deployment.md makes the tables of a domain as the sources do', () => {
  const statements = (text) => text.replace(/\s+/g, ' ').trim();
  const made = /R"sql\(([^]*?)\)sql"/.exec(read('platform/icconfig/domainfile.cpp'))[1];
  const blocks = [...read('docs/deployment.md').matchAll(/```sql\n([^]*?)```/g)].map(([, text]) => statements(text));
  assert.ok(blocks.includes(statements(made)), statements(made));
});

/** Headings of a document as links name them. */
function anchors(document) {
  return [...read(document).matchAll(/^#+ (.+)$/gm)].map(([, text]) =>
    text
      .toLowerCase()
      .replace(/[^\w -]/g, '')
      .replaceAll(' ', '-'),
  );
}

for (const document of [
  'README.md',
  'CONTRIBUTING.md',
  'docs/architecture.md',
  'docs/deployment.md',
  'docs/operation.md',
]) {
  test(`${document} names headings that exist`, () => {
    const links = [...read(document).matchAll(/\]\(([^)#]*\.md)?#([^)]+)\)/g)];
    const missing = links.filter(([, file, anchor]) => {
      const target = file ? path.join(path.dirname(document), file) : document;
      return !anchors(target).includes(anchor);
    });
    assert.deepEqual(
      missing.map(([link]) => link),
      [],
    );
  });

  test(`${document} names files that exist`, () => {
    const text = read(document);
    const links = [...text.matchAll(/\]\(([^)#]+)(?:#[^)]*)?\)/g)].map((match) => match[1]);
    const paths = [...text.matchAll(/`((?:platform|src|tools|tests|simulator|data|docs|cmake)\/[\w./-]+)`/g)];
    const named = [
      ...links.filter((link) => !link.includes('://')).map((link) => path.join(path.dirname(document), link)),
      ...paths.map((match) => match[1]).filter((name) => !name.startsWith('data/config')),
    ];
    const missing = named.filter((name) => !fs.existsSync(path.join(REPOSITORY, name)));
    assert.deepEqual(missing, []);
  });
}
