// docs/architecture.md against the sources: no thread is left out, and none is described that is not there.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const THREAD = /(?:CWorker|Worker|CThread|Executor)>?\((?:[^"()]|\(\))*"([\w-]+)"|kThreadName = "([\w-]+)"/g;

function sources(folder) {
  return fs.readdirSync(path.join(REPOSITORY, folder), { recursive: true, encoding: 'utf8' }).flatMap((name) => {
    const file = path.join(REPOSITORY, folder, name);
    return /\.(cpp|h)$/.test(name) ? [fs.readFileSync(file, 'utf8')] : [];
  });
}

function namesInSources() {
  const texts = ['platform', 'statemachines', 'src'].flatMap(sources);
  return texts.flatMap((text) => [...text.matchAll(THREAD)].map((match) => match[1] ?? match[2]));
}

function namesInTable() {
  const text = fs.readFileSync(path.join(REPOSITORY, 'docs/architecture.md'), 'utf8');
  const section = text.slice(text.indexOf('\n## Threads'), text.indexOf('\n## Locks'));
  return [...section.matchAll(/^\| `([\w-]+)` \|/gm)].map((match) => match[1]);
}

test('every thread of the process has its line, and every line its thread', () => {
  const names = [...new Set(namesInSources())].sort();
  assert.ok(names.includes('sender') && names.includes('signals'), `found ${names}`);
  assert.deepEqual(namesInTable().sort(), names);
});

for (const document of ['README.md', 'CONTRIBUTING.md', 'docs/architecture.md', 'docs/operation.md']) {
  test(`${document} names files that exist`, () => {
    const text = fs.readFileSync(path.join(REPOSITORY, document), 'utf8');
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
