// The programs: help, a wrong option, and a station and a central system driven through their JSON interfaces.
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { pause } from '../lib/waiting.js';

const FOLDER = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');

/** Starts a program and waits for the line with its JSON interface. */
async function start(t, program, args) {
  const child = spawn(process.execPath, [path.join(FOLDER, program), ...args, '--http', '0'], {
    stdio: ['pipe', 'pipe', 'inherit'],
  });
  let output = '';
  child.stdout.on('data', (chunk) => {
    output += chunk;
  });
  t.after(() => child.kill('SIGKILL'));
  for (let turn = 0; turn < 400 && !output.includes('JSON interface'); turn += 1) await pause(25);
  const [, base] = /JSON interface on (\S+)/.exec(output);
  const run = async (command, ...words) => {
    const response = await fetch(`${base}${command}`, { method: 'POST', body: JSON.stringify({ args: words }) });
    return (await response.json()).result;
  };
  return { child, run, output: () => output };
}

function exit(child) {
  return new Promise((resolve) => {
    child.once('exit', (status, signal) => resolve({ status, signal }));
  });
}

for (const program of ['csms/main.js', 'station/main.js', 'demo/main.js']) {
  test(`${program} --help lists its options and ends well`, () => {
    const { status, stdout } = spawnSync(process.execPath, [path.join(FOLDER, program), '--help'], {
      encoding: 'utf8',
    });
    assert.equal(status, 0);
    assert.match(stdout, /^usage: .*\n[^]*--help/);
  });

  test(`${program} refuses an option that it does not know`, () => {
    const { status, stderr } = spawnSync(process.execPath, [path.join(FOLDER, program), '--nonsense'], {
      encoding: 'utf8',
    });
    assert.equal(status, 2);
    assert.match(stderr, /--nonsense/);
  });
}

test('the station program is driven through its JSON interface and ends on SIGINT', async (t) => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'program-'));
  t.after(() => fs.rmSync(root, { recursive: true }));
  const { child, run, output } = await start(t, 'station/main.js', ['--root', root]);
  assert.equal(await run('plug'), true);
  assert.equal((await run('state')).connector.name, 'PreparingPluggedIn');
  await run('approve', 'on');
  await run('storage', 'off');
  const { connector, untoldEvents } = await run('state');
  assert.deepEqual([connector.approved, connector.storageAvailable, untoldEvents], [true, false, 0]);
  await run('raise', '10301');
  assert.deepEqual(
    (await run('active')).warnings.map(({ identifier }) => identifier),
    [10301],
  );
  child.stdin.write('unplug\n');
  for (let turn = 0; turn < 200 && !output().includes('connector is Available'); turn += 1) await pause(10);
  assert.match(output(), /connector is Available/);
  const ended = exit(child);
  child.kill('SIGINT');
  assert.deepEqual(await ended, { status: 0, signal: null });
  assert.ok(fs.existsSync(path.join(root, 'simulator.json')));
});

test('the central system program is driven through its JSON interface and ends on SIGTERM', async (t) => {
  const state = fs.mkdtempSync(path.join(os.tmpdir(), 'program-'));
  t.after(() => fs.rmSync(state, { recursive: true }));
  const { child, run } = await start(t, 'csms/main.js', [
    '--port',
    '0',
    '--state',
    state,
    '--station',
    'CP1:0a0b',
    '--quiet',
  ]);
  const { url, ca } = await run('state');
  assert.match(url, /^wss:\/\/localhost:\d+\/ocpp$/);
  assert.ok(fs.existsSync(ca));
  await run('answer', 'Heartbeat', { silence: true, times: 2 });
  assert.deepEqual(await run('script'), { Heartbeat: [{ silence: true, times: 2, left: 2 }] });
  assert.deepEqual(await run('book'), { balanced: true, problems: [], sessions: [] });
  const ended = exit(child);
  child.kill('SIGTERM');
  assert.deepEqual(await ended, { status: 0, signal: null });
});
