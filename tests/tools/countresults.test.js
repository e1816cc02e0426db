// The counts of a test run: what passed, failed and was skipped, and that nothing that went wrong is left out.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const FOLDER = path.join(REPOSITORY, 'build/tools-tests', String(process.pid));
const PROGRAM = path.join(REPOSITORY, 'tools/lib/countresults');

function scratch(t) {
  fs.mkdirSync(FOLDER, { recursive: true });
  const folder = fs.mkdtempSync(path.join(FOLDER, 'results-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

function count(...args) {
  return spawnSync(PROGRAM, args, { encoding: 'utf8' }).stdout.trim();
}

/** Counts a run of programs: {name: [status of ctest, results of GoogleTest or null]}. */
function countPrograms(t, programs) {
  const folder = scratch(t);
  const junit = path.join(folder, 'ctest.junit');
  const cases = Object.entries(programs).map(([name, [status]]) => `<testcase name="${name}" status="${status}"/>`);
  fs.writeFileSync(junit, `<testsuite>${cases.join('')}</testsuite>`);
  for (const [name, [, results]] of Object.entries(programs)) {
    if (results !== null) fs.writeFileSync(path.join(folder, `${name}.xml`), results);
  }
  return count('ctest', junit, folder);
}

const suite = (...cases) => `<testsuites><testsuite>${cases.join('')}</testsuite></testsuites>`;
const PASSED = '<testcase name="a" status="run" result="completed"/>';
const FAILED = '<testcase name="b" status="run" result="completed"><failure message="no"/></testcase>';
const SKIPPED = '<testcase name="c" status="run" result="skipped"><skipped message=""/></testcase>';
const DISABLED = '<testcase name="d" status="notrun" result="suppressed"/>';

test('cases of all programs are added up', (t) => {
  const results = suite(PASSED, FAILED, SKIPPED, DISABLED);
  assert.equal(countPrograms(t, { one: ['fail', results], two: ['run', suite(PASSED, PASSED)] }), '3 1 2');
});

test('a program without cases of its own counts as one', (t) => {
  assert.equal(countPrograms(t, { good: ['run', null], bad: ['fail', null] }), '1 1 0');
});

test('a program that dies after its cases passed counts as a failure', (t) => {
  assert.equal(countPrograms(t, { one: ['fail', suite(PASSED, PASSED)] }), '2 1 0');
});

test('a program that dies while it writes its results counts as a failure', (t) => {
  assert.equal(countPrograms(t, { one: ['fail', '<testsuites><testsuite>'] }), '0 1 0');
});

test('a run without programs counts as a failure', (t) => {
  assert.equal(countPrograms(t, {}), '0 1 0');
});

test('a run that left no results counts as a failure', (t) => {
  const folder = scratch(t);
  assert.equal(count('ctest', path.join(folder, 'none'), folder), '0 1 0');
  assert.equal(count('tap', path.join(folder, 'none')), '0 1 0');
});

test('cancelled tests of Node are failures', (t) => {
  const file = path.join(scratch(t), 'x.tap');
  fs.writeFileSync(file, '# tests 9\n# suites 1\n# pass 4\n# fail 2\n# cancelled 1\n# skipped 1\n# todo 1\n');
  assert.equal(count('tap', file), '4 3 2');
});

test('a run of Node that was cut off counts as a failure', (t) => {
  const file = path.join(scratch(t), 'x.tap');
  fs.writeFileSync(file, 'TAP version 13\nok 1 - first\n');
  assert.equal(count('tap', file), '0 1 0');
});
