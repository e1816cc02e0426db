// The length of our JavaScript functions, read by the parser with which prettier formats them.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const FOLDERS = ['simulator', 'tests', 'tools'];
const MAX_LINES = 60;
// What is given to these is a list of tests; each of its tests is a function and counts by itself.
const LISTS_OF_TESTS = new Set(['theme', 'together', 'describe']);

const { parsers } = createRequire(path.join(REPOSITORY, 'build/node/'))('prettier/plugins/acorn');

function nameOf(node, parent) {
  const name = node.id ?? parent.key ?? parent.id ?? parent.callee;
  return name?.name ?? 'a function';
}

/** Each function of a source, from the line of its parameters to its last: {name, line, lines}. */
function functionsOf(source) {
  const lineOf = (offset) => source.slice(0, offset).split('\n').length;
  const found = [];
  const walk = (node, parent) => {
    if (typeof node?.type !== 'string') return;
    const isListOfTests = parent?.type === 'CallExpression' && LISTS_OF_TESTS.has(parent.callee.name);
    if (/Function/.test(node.type) && !isListOfTests) {
      const line = lineOf(node.start);
      found.push({ name: nameOf(node, parent), line, lines: lineOf(node.end) - line + 1 });
    }
    for (const child of Object.values(node).flat()) walk(child, node);
  };
  walk(parsers.acorn.parse(source, {}), null);
  return found;
}

function sources() {
  return FOLDERS.flatMap((folder) =>
    fs
      .readdirSync(path.join(REPOSITORY, folder), { recursive: true, encoding: 'utf8' })
      .filter((name) => /\.m?js$/.test(name) && !name.split(path.sep).includes('node_modules'))
      .map((name) => path.join(folder, name)),
  );
}

test('functions are found in every form, with their lines', () => {
  const source = [
    '#!/usr/bin/env node',
    'export function declared() {',
    '  const arrow = async () => ({',
    '    method() {},',
    '  });',
    '}',
    'class C {',
    '  #field = () => 1;',
    '  constructor(',
    '    one,',
    '  ) {}',
    '  get value() {',
    '    return function* inner() {};',
    '  }',
    '  async #hidden() {}',
    '  static {',
    '    call(() => {',
    '    });',
    '  }',
    '}',
  ].join('\n');
  assert.deepEqual(
    functionsOf(source).map(({ name, line, lines }) => `${name} ${line} ${lines}`),
    [
      'declared 2 5',
      'arrow 3 3',
      'method 4 1',
      'field 8 1',
      'constructor 9 3',
      'value 12 3',
      'inner 13 1',
      'hidden 15 1',
      'call 17 2',
    ],
  );
});

test('a list of tests is none, its tests are', () => {
  const source = "theme('all', () => {\n  systemTest('one', {}, async () => {\n  });\n});\n";
  assert.deepEqual(functionsOf(source), [{ name: 'systemTest', line: 2, lines: 2 }]);
});

test(`no function has more than ${MAX_LINES} lines`, () => {
  const files = sources();
  assert.ok(files.includes('simulator/csms/main.js') && files.includes('tests/system/lib/world.js'), `${files}`);
  const long = files.flatMap((file) =>
    functionsOf(fs.readFileSync(path.join(REPOSITORY, file), 'utf8'))
      .filter(({ lines }) => lines > MAX_LINES)
      .map(({ name, line, lines }) => `${file}:${line}: ${name} has ${lines} lines`),
  );
  assert.deepEqual(long, []);
});
