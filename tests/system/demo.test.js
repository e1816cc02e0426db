// The story that tools/demo tells, as a newcomer sees it.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { REPOSITORY } from '../../simulator/lib/packages.js';
import { assert } from './lib/world.js';

const DEMO_MS = 120000;
const FOLDER = path.join(REPOSITORY, 'build/demo');

/** Runs the demo and gives {status, text}. */
function runDemo() {
  return new Promise((resolve, reject) => {
    const child = spawn(process.execPath, [path.join(REPOSITORY, 'simulator/demo/main.js')], {
      stdio: ['ignore', 'pipe', 'pipe'],
      timeout: DEMO_MS,
    });
    let text = '';
    for (const stream of [child.stdout, child.stderr]) {
      stream.setEncoding('utf8');
      stream.on('data', (chunk) => {
        text += chunk;
      });
    }
    child.once('error', reject);
    child.once('close', (status) => resolve({ status, text }));
  });
}

/** Command lines of the machine's processes that have to do with the demo's station. */
function processesOfDemo() {
  return fs
    .readdirSync('/proc')
    .filter((name) => /^\d+$/.test(name))
    .map((name) => {
      try {
        return fs.readFileSync(`/proc/${name}/cmdline`, 'utf8').replaceAll('\0', ' ');
      } catch {
        return ''; // it has ended meanwhile
      }
    })
    .filter((line) => line.includes(path.join(FOLDER, 'station')));
}

test('the demo shows both charges, balances the books and leaves no process', { timeout: 2 * DEMO_MS }, async () => {
  const { status, text } = await runDemo();
  assert.equal(status, 0, text);
  for (const part of [
    'It registered with BootNotification.',
    'answered with NotImplemented.',
    'answered with NotSupported.',
    'secc is killed in the middle of it.',
    'The book balances',
    'The demo went well.',
  ])
    assert.ok(text.includes(part), `"${part}" is missing in:\n${text}`);
  assert.ok(!text.includes('NOT AS EXPECTED'), text);
  assert.deepEqual(processesOfDemo(), []);
});
