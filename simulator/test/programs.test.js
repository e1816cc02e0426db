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

const MISTAKES = [
  ['csms/main.js', ['--station', 'abc'], '--station "abc": ID:HEX expected'],
  ['csms/main.js', ['--station', 'CP1:0a', '--station', 'CP2:0x'], '--station "CP2:0x": ID:HEX expected'],
  ['csms/main.js', ['--port', 'abc'], '--port "abc": a TCP port (0 to 65535) expected'],
  ['csms/main.js', ['--port', '65536'], '--port "65536": a TCP port (0 to 65535) expected'],
  ['csms/main.js', ['--http', ''], '--http "": a TCP port (0 to 65535) expected'],
  ['csms/main.js', ['--interval', '1.5'], '--interval "1.5": whole seconds expected'],
  ['station/main.js', ['--root', 'nowhere', '--phases', '7'], '--phases "7": 1 or 3 expected'],
  ['station/main.js', ['--root', 'nowhere', '--current', 'much'], '--current "much": a current in ampere expected'],
  ['station/main.js', ['--root', 'nowhere', '--http', '1e3'], '--http "1e3": a TCP port (0 to 65535) expected'],
  ['station/main.js', [], '--root is missing'],
  [
    'demo/main.js',
    ['--csms', 'http://host/path', '--password', '00'],
    '--csms "http://host/path": wss://host:port/path expected',
  ],
  ['demo/main.js', ['--csms', 'wss://host/path'], '--csms needs --password'],
  ['demo/main.js', ['--csms', 'host:1/path', '--password', 'pass'], '--password "pass": hexadecimal digits expected'],
  [
    'demo/main.js',
    ['--csms', 'host', '--password', '00', '--ca', '/no/such/file'],
    '--ca "/no/such/file": a file expected',
  ],
];
for (const [program, args, what] of MISTAKES) {
  test(`${program} ${args.join(' ')} ends with one line that says what is wrong`, () => {
    const { status, stdout, stderr } = spawnSync(process.execPath, [path.join(FOLDER, program), ...args], {
      encoding: 'utf8',
      timeout: 10000,
    });
    assert.equal(status, 2);
    assert.equal(stdout, '');
    assert.equal(stderr, `${what}. Try --help.\n`);
  });
}

test('the station program is driven through its JSON interface and ends on SIGINT', async (t) => {
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'program-'));
  t.after(() => fs.rmSync(root, { recursive: true }));
  const options = ['--root', root, '--phases', '1', '--current', '10.5'];
  const { child, run, output } = await start(t, 'station/main.js', options);
  assert.deepEqual((await run('state')).limit, { source: 1, current: 10500, phases: 1 });
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
