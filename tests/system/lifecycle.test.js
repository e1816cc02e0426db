// The lifecycle as a supervisor drives it, the time gate, mains loss, configuration errors and SIGINT in each state.
import { assert, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

const WATCH = { station: { drive: false } };

/** Waits until the process reported the state for the n-th time. */
function reported(world, state, count = 1, timeoutMs = 10000) {
  const { supervisor } = world.station;
  return world.station.waitFor(() => supervisor.reports.filter((text) => text === state).length >= count, {
    timeoutMs,
    what: `state ${state} (${count})`,
  });
}

theme('process control', () => {
  systemTest(
    'Uninitialized is reported; Enable is illegal there and reports nothing; Disable leads to Disabled',
    WATCH,
    async (world) => {
      await world.start();
      const { supervisor } = world.station;
      await reported(world, 'Uninitialized');
      assert.equal(await supervisor.enable(), 1);
      await pause(300);
      assert.deepEqual(supervisor.reports, ['Uninitialized']);
      assert.equal(await supervisor.disable(), 0);
      await reported(world, 'Disabled');
      assert.equal(await supervisor.disable(), 0);
      await reported(world, 'Disabled', 2);
      assert.equal(await supervisor.enable(), 0);
      await reported(world, 'Enabled');
      assert.equal(await supervisor.enable(), 0);
      await reported(world, 'Enabled', 2);
      assert.deepEqual(supervisor.reports, ['Uninitialized', 'Disabled', 'Disabled', 'Enabled', 'Enabled']);
    },
  );

  systemTest('signs of life come every 4 seconds while Enabled', {}, async (world) => {
    await world.start();
    await world.station.waitForEnabled({ timeoutMs: 10000 });
    const times = [];
    world.station.supervisor.on('alive', () => times.push(Date.now()));
    await world.station.waitFor(() => times.length >= 3, { timeoutMs: 15000, what: 'three signs of life' });
    const apart = times[2] - times[1];
    assert.ok(apart > 3700 && apart < 4300, `${apart} ms apart`);
  });

  systemTest(
    'Disable closes the link with 1000, Enable opens it again without a second registration',
    {},
    async (world) => {
      await world.start();
      await world.settled();
      const { supervisor } = world.station;
      supervisor.release();
      assert.equal(await supervisor.disable(), 0);
      await world.csms.waitFor(() => !world.link.online, { timeoutMs: 5000, what: 'the end of the link' });
      assert.deepEqual((({ code, reason }) => [code, reason])(world.link.connections[0].closed), [
        1000,
        'Client is Disabling',
      ]);
      await reported(world, 'Disabled', 2);
      await world.never(() => world.link.online, 4000, 'a connection while Disabled');
      assert.equal(await supervisor.enable(), 0);
      await world.csms.waitFor(() => world.link.online, { timeoutMs: 10000, what: 'the link again' });
      await world.nextHeartbeat();
      assert.equal(world.boots().length, 1);
    },
  );

  systemTest(
    'Disable and Enable twenty times in a row leave threads and descriptors as they were',
    { timeoutMs: 180000 },
    async (world) => {
      await world.start();
      await world.online();
      const { supervisor } = world.station;
      supervisor.release();
      const round = async (count) => {
        // The answer says that the request was taken; Enable is legal again once Disabled is reached.
        const disabled = supervisor.reports.filter((text) => text === 'Disabled').length;
        assert.equal(await supervisor.disable(), 0);
        await reported(world, 'Disabled', disabled + 1);
        await world.csms.waitFor(() => !world.link.online, { timeoutMs: 5000, what: 'the end of the link' });
        assert.equal(await supervisor.enable(), 0);
        await world.csms.waitFor(() => world.link.online && world.link.connections.length === count, {
          timeoutMs: 10000,
          what: 'the link again',
        });
      };
      await round(2);
      await round(3);
      const before = world.secc.resources();
      for (let count = 4; count < 22; count += 1) await round(count);
      await pause(500);
      const after = world.secc.resources();
      assert.ok(
        after.threads <= before.threads && after.descriptors <= before.descriptors + 1,
        JSON.stringify({ before, after }),
      );
    },
  );

  systemTest('Disable before the first time check: nothing connects', WATCH, async (world) => {
    await world.start();
    const { supervisor } = world.station;
    await reported(world, 'Uninitialized');
    await supervisor.disable();
    await supervisor.enable();
    await reported(world, 'Enabled');
    await supervisor.disable();
    await world.never(() => world.csms.tcpConnections > 0, 4000, 'a connection');
  });

  systemTest(
    'without a backoffice the process is Enabled and alive, and nothing connects',
    { primary: false },
    async (world) => {
      await world.start();
      await world.station.waitForEnabled({ timeoutMs: 10000 });
      await world.never(() => world.csms.tcpConnections > 0, 4000, 'a connection');
      assert.ok(world.station.supervisor.alive > 0);
    },
  );
});

theme('the time gate', () => {
  systemTest(
    'no status file, then "syncing", then "synced": only then the station connects',
    { root: { ntpStatus: null } },
    async (world) => {
      await world.start();
      await world.station.waitForEnabled({ timeoutMs: 10000 });
      await world.never(() => world.csms.tcpConnections > 0, 3500, 'a connection without a clock');
      world.root.setNtpStatus('syncing');
      await world.never(() => world.csms.tcpConnections > 0, 3500, 'a connection while syncing');
      world.root.setNtpStatus('');
      await world.never(() => world.csms.tcpConnections > 0, 2500, 'a connection with an empty status');
      world.root.setNtpStatus('synced\nstratum 3');
      await world.online({ timeoutMs: 8000 });
      assert.ok(
        world.secc.lines.some((line) => line.includes('System time is now synced, starting Backoffice connections.')),
      );
    },
  );

  systemTest(
    'AllowChargeWithoutValidTime opens it without a clock',
    { root: { ntpStatus: null }, settings: { settings: { AllowChargeWithoutValidTime: true } } },
    async (world) => {
      await world.start();
      await world.online();
      assert.ok(
        world.secc.lines.some((line) =>
          line.includes('AllowChargeWithoutValidTime is enabled, bypassing NTP sync gate for backoffice startup.'),
        ),
      );
    },
  );
});

theme('mains loss', () => {
  systemTest('the link is closed at once and stays closed', {}, async (world) => {
    await world.start();
    await world.online();
    await world.station.waitFor(() => world.station.servers.BoardControl.subscribers.length > 0, {
      timeoutMs: 5000,
      what: 'the stream of board control',
    });
    world.station.board.loseMains();
    await world.csms.waitFor(() => !world.link.online, { timeoutMs: 3000, what: 'the end of the link' });
    await world.never(() => world.link.online, 6500, 'a connection after the mains were lost');
  });
});

const WRONG_TYPE = { settings: { settings: { SeccOcppActive: 'perhaps' } } };

theme('configuration errors', () => {
  systemTest(
    'a value of the wrong type leads to FatalError, which the supervisor and diagnostics hear of',
    WRONG_TYPE,
    async (world) => {
      await world.start();
      await reported(world, 'FatalError');
      assert.ok(world.secc.lines.some((line) => line.includes('Config error occurred: ')));
      await world.station.waitFor(() => world.station.diagnostics.last(1105)?.bool_values?.[0] === true, {
        timeoutMs: 5000,
        what: 'signal 1105',
      });
      const { supervisor } = world.station;
      supervisor.release();
      const before = supervisor.reports.length;
      assert.equal(await supervisor.disable(), 0);
      assert.equal(await supervisor.enable(), 0);
      await world.station.waitFor(() => supervisor.reports.length >= before + 2, {
        timeoutMs: 5000,
        what: 'two reports',
      });
      assert.deepEqual(supervisor.reports.slice(before), ['FatalError', 'FatalError']);
      await world.never(() => world.csms.tcpConnections > 0, 3000, 'a connection');
    },
  );

  systemTest(
    'an error during the construction is logged at once; signal and FatalError follow once they have a receiver',
    {},
    async (world) => {
      world.root.writeDefaults('network', '{"broken": ');
      await world.start();
      await reported(world, 'FatalError');
      await world.station.waitFor(() => world.station.diagnostics.last(1105)?.bool_values?.[0] === true, {
        timeoutMs: 5000,
        what: 'signal 1105',
      });
      const lineOf = (text) => world.secc.lines.findIndex((line) => line.includes(text));
      const errors = world.secc.lines.filter((line) => line.includes('Config error occurred: '));
      assert.equal(errors.length, 1, errors.join('\n'));
      assert.match(errors[0], /network/);
      assert.ok(lineOf('Config error occurred: ') < lineOf('Starting state machine'), 'the error was logged first');
      const { reports } = world.station.supervisor;
      assert.ok(!reports.includes('Disabled') && !reports.includes('Enabled'), reports.join(', '));
    },
  );
});

const STATES = {
  Uninitialized: [
    WATCH,
    async (world) => {
      await reported(world, 'Uninitialized');
    },
  ],
  Disabled: [
    WATCH,
    async (world) => {
      await reported(world, 'Uninitialized');
      await world.station.supervisor.disable();
      await reported(world, 'Disabled');
    },
  ],
  'Enabled, waiting for the time': [
    { root: { ntpStatus: 'syncing' } },
    async (world) => {
      await world.station.waitForEnabled({ timeoutMs: 10000 });
      await pause(2500);
    },
  ],
  'Enabled, in a handshake that does not end': [
    {},
    async (world) => {
      await world.csms.waitFor(() => world.csms.tcpConnections > 0, { timeoutMs: ONLINE_MS, what: 'a TCP connection' });
    },
    (world) => world.csms.setDoor({ mode: 'silent' }),
  ],
  'Enabled, waiting to connect again': [
    {},
    async (world) => {
      await world.csms.waitFor(() => world.csms.refusals.length > 0, { timeoutMs: ONLINE_MS, what: 'a refusal' });
      await pause(500);
    },
    (world) => world.csms.setDoor({ mode: 'http', status: 503 }),
  ],
  'Enabled, before the answer to its registration': [
    {},
    async (world) => {
      await world.csms.waitForCall('BootNotification', { timeoutMs: ONLINE_MS });
    },
    (world) => world.csms.answer('BootNotification', { silence: true, times: 0 }),
  ],
  'Enabled, registration pending': [
    {},
    async (world) => {
      await world.csms.waitFor(() => world.link.registration === 'Pending', { timeoutMs: ONLINE_MS, what: 'Pending' });
    },
    (world) => world.csms.setBoot({ status: 'Pending', interval: 600 }),
  ],
  'Enabled and online': [
    {},
    async (world) => {
      await world.online();
    },
  ],
  'Enabled, on a dead link': [
    {},
    async (world) => {
      await world.online();
      world.link.freeze();
    },
  ],
  FatalError: [
    WRONG_TYPE,
    async (world) => {
      await reported(world, 'FatalError');
    },
  ],
};

theme('SIGINT ends it with status 0 within 2 seconds', () => {
  for (const [state, [options, reach, before]] of Object.entries(STATES)) {
    systemTest(`in the state ${state}`, options, async (world) => {
      before?.(world);
      await world.start();
      await reach(world);
      await world.interruptCleanly();
      world.allowEnded = true;
    });
  }

  systemTest('a link that is open is closed in order', {}, async (world) => {
    await world.start();
    await world.online();
    await world.interruptCleanly();
    world.allowEnded = true;
    await world.csms.waitFor(() => world.link.connections[0].closed, { timeoutMs: 2000, what: 'the close' });
    assert.equal(world.link.connections[0].closed.code, 1000);
  });
});
