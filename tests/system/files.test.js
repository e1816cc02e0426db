// Broken and missing files: the process comes up, or says why it does not work, and nothing is deleted.
import fs from 'node:fs';
import path from 'node:path';
import { assert, ONLINE_MS, systemTest, theme } from './lib/world.js';

const DIRECTORIES = {
  missing: (file) => fs.rmSync(file),
  'no JSON': (file) => fs.writeFileSync(file, '{"services": '),
  'an array': (file) => fs.writeFileSync(file, '[]'),
  'nested too deep': (file) => fs.writeFileSync(file, '['.repeat(100000)),
  'of wrong types': (file) =>
    fs.writeFileSync(file, '{"deadlineMs": "soon", "services": {"Meter": 17, "Diagnostics": "elsewhere.example:80"}}'),
};

theme('the service directory', () => {
  for (const [what, damage] of Object.entries(DIRECTORIES)) {
    systemTest(`${what}: the siblings are found at their default places`, {}, async (world) => {
      damage(world.root.path('etc/iipc.json'));
      await world.start();
      await world.secc.waitForLine('etc/iipc.json');
      await world.online();
      assert.ok(world.station.servers.Diagnostics.subscribers.length > 0);
    });
  }
});

/** Files of stored domains. */
function stores(world) {
  return fs
    .readdirSync(world.root.path('data/config'), { recursive: true, withFileTypes: true })
    .filter((entry) => entry.isFile())
    .map((entry) => path.join(entry.parentPath ?? entry.path, entry.name));
}

theme('stored configuration', () => {
  systemTest('the heartbeat interval that the central system gave is kept over a restart', {}, async (world) => {
    world.csms.setBoot({ status: 'Accepted', interval: 2 });
    await world.start();
    await world.online();
    await world.csms.waitForCall('Heartbeat', { timeoutMs: 5000 });
    await world.restartSecc();
    world.csms.answer('BootNotification', { payload: ({ interval, ...rest }) => ({ interval, ...rest }) });
    await world.csms.waitFor(() => world.boots().length === 2, {
      timeoutMs: ONLINE_MS,
      what: 'the second registration',
    });
    await world.nextHeartbeat();
  });

  systemTest('damaged files are set aside, the station comes up from its defaults', {}, async (world) => {
    await world.start();
    await world.online();
    await world.secc.kill();
    const damaged = stores(world).filter((file) => fs.statSync(file).size > 0);
    assert.ok(damaged.length > 0, 'something was stored');
    for (const file of damaged) fs.writeFileSync(file, 'this is no database');
    world.startSecc();
    await world.csms.waitFor(() => world.boots().length === 2, {
      timeoutMs: ONLINE_MS,
      what: 'the second registration',
    });
    const kept = stores(world)
      .map((file) => fs.readFileSync(file))
      .filter((content) => content.includes('this is no database'));
    assert.ok(kept.length > 0, 'the damaged files are still there, under other names');
  });

  const CONFIG = '/station/data/config';
  const FOLDERS = {
    'that is read-only': (world) => ['--ro-bind', world.root.path('data/config'), CONFIG],
    'on a full disk': () => ['--size', '65536', '--tmpfs', CONFIG],
  };
  for (const [what, mounts] of Object.entries(FOLDERS)) {
    systemTest(
      `a folder ${what}: the station comes online, and the log says what it cannot keep`,
      {},
      async (world) => {
        await world.station.start();
        world.startSecc({ mounts: mounts(world) });
        await world.online();
        await world.answers();
        assert.ok(world.secc.lines.some((line) => /Secc error .*\(platform\/icconfig/.test(line)));
      },
    );
  }

  systemTest(
    'killed with signal 9 twenty times while it comes online, it comes online',
    { timeoutMs: 180000 },
    async (world) => {
      await world.start();
      for (let turn = 0; turn < 20; turn += 1) {
        await new Promise((resolve) => {
          setTimeout(resolve, 50 + turn * 150);
        });
        await world.restartSecc();
      }
      await world.csms.waitForCall('Heartbeat', { after: world.csms.mark, timeoutMs: ONLINE_MS });
    },
  );
});

theme('packaged defaults', () => {
  for (const domain of ['settings', 'ocpp', 'hwinfo', 'secrets', 'network', 'fwinfo', 'ocpp_meta']) {
    systemTest(
      `${domain} broken: the process lives, tells its supervisor and its log, and ends in order`,
      {},
      async (world) => {
        world.root.writeDefaults(domain, '{"broken": ');
        await world.start();
        await world.station.waitFor(() => ['Enabled', 'FatalError'].includes(world.station.supervisor.stateText), {
          timeoutMs: ONLINE_MS,
          what: 'Enabled or FatalError',
        });
        assert.ok(
          world.secc.lines.some((line) => line.includes(domain)),
          'the log names the domain',
        );
      },
    );
  }
});
