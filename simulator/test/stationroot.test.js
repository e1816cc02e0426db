import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { before, after, test } from 'node:test';
import { StationRoot } from '../lib/stationroot.js';

let folder;

before(() => {
  folder = fs.mkdtempSync(path.join(os.tmpdir(), 'root-'));
});
after(() => fs.rmSync(folder, { recursive: true }));

/** A stand-in for the program: a shell script. */
function script(name, text) {
  const file = path.join(folder, name);
  fs.writeFileSync(file, `#!/bin/sh\n${text}\n`, { mode: 0o755 });
  return file;
}

const WAITING = 'trap "echo interrupted; exit 0" INT\necho up\nwhile true; do sleep 0.05; done';

test('the process sees the station and nothing of the machine', async () => {
  const certificate = path.join(folder, 'mine.pem');
  fs.writeFileSync(certificate, 'certificate\n');
  const root = new StationRoot(path.join(folder, 'one'), {
    trust: [certificate],
    ntpStatus: 'syncing',
    settings: { settings: { SeccOcppActive: true } },
  });
  const program = script(
    'look.sh',
    [
      'cat /etc/ntp_status /data/ssl/certs/mine.pem',
      'ls -d /station/run /station/etc /tmp',
      'test -e /dev/log || echo no log socket',
      `test -e ${folder} || echo no folder`,
      'touch /usr/share/x 2>/dev/null || echo read-only',
      'echo "$@"',
      'touch /tmp/made',
    ].join('\n'),
  );
  const secc = root.startSecc({ program });
  assert.equal((await secc.exited).status, 0);
  assert.deepEqual(secc.lines, [
    'syncing',
    'certificate',
    '/station/etc',
    '/station/run',
    '/tmp',
    'no log socket',
    'no folder',
    'read-only',
    '-v -r /station/',
  ]);
  assert.ok(fs.existsSync(root.path('tmp/made')));
  assert.equal(root.defaults('settings').SeccOcppActive, true);
});

test('the clock status can change and go while the process runs', async () => {
  const root = new StationRoot(path.join(folder, 'two'), { ntpStatus: null });
  const program = script(
    'watch.sh',
    'while ! test -e /etc/ntp_status; do sleep 0.02; done; cat /etc/ntp_status; while test -e /etc/ntp_status; do sleep 0.02; done; echo gone',
  );
  const secc = root.startSecc({ program });
  root.setNtpStatus('synced');
  await secc.waitForLine('synced');
  root.setNtpStatus(null);
  await secc.waitForLine('gone');
  assert.equal((await secc.exited).status, 0);
});

test('SIGINT reaches the process itself, whose status is told', async () => {
  const root = new StationRoot(path.join(folder, 'three'));
  const secc = root.startSecc({ program: script('wait.sh', WAITING) });
  await secc.waitForLine('up');
  await secc.started();
  assert.equal(fs.readFileSync(`/proc/${secc.pid}/cmdline`, 'utf8').split('\0')[1], '/secc');
  const outcome = await secc.interrupt();
  assert.equal(outcome.status, 0);
  assert.ok(secc.lines.includes('interrupted'));
});

test('signal 9 kills the process, and the outcome says so; a status of its own is told as well', async () => {
  const root = new StationRoot(path.join(folder, 'four'));
  const secc = root.startSecc({ program: script('wait2.sh', WAITING) });
  await secc.waitForLine('up');
  const { pid } = secc;
  assert.deepEqual((({ status, signal }) => ({ status, signal }))(await secc.kill()), { status: null, signal: 9 });
  assert.throws(() => process.kill(pid, 0), 'the process is gone');
  const failing = root.startSecc({ program: script('fail.sh', 'echo to stderr >&2; exit 3') });
  assert.equal((await failing.exited).status, 3);
  assert.ok(fs.readFileSync(failing.logFile, 'utf8').includes('to stderr'));
  await assert.rejects(failing.waitForLine('never'), /ended/);
});

test('a process that ignores SIGINT is killed after the deadline', async () => {
  const root = new StationRoot(path.join(folder, 'five'));
  const secc = root.startSecc({ program: script('deaf.sh', 'trap "" INT\necho up\nwhile true; do sleep 0.05; done') });
  await secc.waitForLine('up');
  const outcome = await secc.interrupt({ timeoutMs: 200 });
  assert.equal(outcome.signal, 9);
});

test('two stations at once do not see one another', async () => {
  const program = script('mark.sh', 'echo $$ > /tmp/mark; ls /tmp; sleep 0.1');
  const both = ['six', 'seven'].map((name) => new StationRoot(path.join(folder, name)).startSecc({ program }));
  for (const secc of both) {
    await secc.exited;
    assert.deepEqual(secc.lines, ['mark']);
  }
});
