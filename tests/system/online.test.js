// The station comes online and stays there: registration, heartbeat, and a central system that goes and comes.
import { assert, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

const FAST = { status: 'Accepted', interval: 1 };
// Nothing but heartbeats on the wire, and little patience with them.
const HEARTBEAT_ALONE = { settings: { ocpp: { MessageTimeout: 1, MinimumStatusDuration: 600 } } };

theme('coming online', () => {
  systemTest('a station registers, is accepted and keeps its heartbeat', {}, async (world) => {
    world.csms.setBoot({ status: 'Accepted', interval: 2 });
    await world.start();
    await world.online();
    assert.equal(world.link.connection.subprotocol, 'ocpp1.6');
    assert.equal(world.link.connection.tls.version, 'TLSv1.3');
    assert.deepEqual(world.link.boot, {
      chargePointModel: 'AC station',
      chargePointVendor: 'Tovira',
      chargePointSerialNumber: 'SN-1',
      firmwareVersion: '1.0-test',
    });
    const beats = await world.csms.waitFor(() => (world.heartbeats().length >= 3 ? world.heartbeats() : null), {
      timeoutMs: 10000,
      what: 'three heartbeats',
    });
    for (const index of [1, 2]) {
      const apart = beats[index].time - beats[index - 1].time;
      assert.ok(Math.abs(apart - 2000) < 300, `heartbeats are ${apart} ms apart`);
    }
    assert.equal(world.boots().length, 1);
  });

  systemTest('the first heartbeat follows the acceptance at once', {}, async (world) => {
    world.csms.setBoot({ status: 'Accepted', interval: 300 });
    await world.start();
    await world.online();
    const beat = await world.csms.waitForCall('Heartbeat', { timeoutMs: 2000 });
    assert.ok(beat.time - world.boots()[0].time < 1000);
  });

  systemTest(
    'an unknown action is answered NotImplemented, a known one that is not offered NotSupported',
    {},
    async (world) => {
      await world.start();
      await world.online();
      await assert.rejects(world.link.call('FooBar'), { code: 'NotImplemented' });
      await assert.rejects(world.link.call('CancelReservation', { reservationId: 1 }), { code: 'NotSupported' });
      await assert.rejects(
        world.link.call('ReserveNow', {
          connectorId: 1,
          expiryDate: '2030-01-01T00:00:00Z',
          idTag: 'A',
          reservationId: 1,
        }),
        { code: 'NotSupported' },
      );
    },
  );

  systemTest('at most one CALL is under way', { settings: { ocpp: { MessageTimeout: 3 } } }, async (world) => {
    world.csms.setBoot(FAST);
    world.csms.answer('Heartbeat', { delayMs: 1500, times: 3 });
    await world.start();
    await world.online();
    await world.csms.waitFor(() => world.heartbeats().length >= 4, { timeoutMs: 15000, what: 'four heartbeats' });
    assert.deepEqual(world.link.overlaps, []);
  });

  systemTest('over TLS 1.2 as well', { csms: { tls: { maxVersion: 'TLSv1.2' } } }, async (world) => {
    await world.start();
    await world.online();
    assert.equal(world.link.connection.tls.version, 'TLSv1.2');
  });
});

theme('registration', () => {
  systemTest(
    'Pending: calls of the central system are answered, the next BootNotification comes after the interval',
    {},
    async (world) => {
      world.csms.setBoot({ status: 'Pending', interval: 3 }, { status: 'Accepted', interval: 300 });
      await world.start();
      await world.csms.waitFor(() => world.link.registration === 'Pending', { timeoutMs: ONLINE_MS, what: 'Pending' });
      await world.answers();
      await world.online();
      const [first, second] = world.boots();
      const apart = second.time - first.time;
      assert.ok(apart >= 2900 && apart < 4500, `${apart} ms apart`);
      assert.notEqual(second.id, first.id);
      assert.equal(world.heartbeats().filter(({ time }) => time < second.time).length, 0);
    },
  );

  systemTest(
    'Rejected: calls of the central system are ignored, the next BootNotification comes after the interval',
    {},
    async (world) => {
      world.csms.setBoot({ status: 'Rejected', interval: 4 }, { status: 'Accepted', interval: 300 });
      await world.start();
      await world.csms.waitFor(() => world.link.registration === 'Rejected', {
        timeoutMs: ONLINE_MS,
        what: 'Rejected',
      });
      await pause(300);
      await assert.rejects(world.link.call('FooBar', {}, { timeoutMs: 1500 }), /no answer/);
      await world.online();
      const [first, second] = world.boots();
      assert.ok(second.time - first.time >= 3900 && second.time - first.time < 5500);
      await world.answers();
    },
  );

  systemTest('Pending with interval 0 waits long for the next BootNotification', {}, async (world) => {
    world.csms.setBoot({ status: 'Pending', interval: 0 });
    await world.start();
    await world.csms.waitFor(() => world.link.registration === 'Pending', { timeoutMs: ONLINE_MS, what: 'Pending' });
    await world.never(() => world.boots().length > 1, 5000, 'a second BootNotification');
  });

  systemTest('Accepted with interval 0: one heartbeat at once, the next much later', {}, async (world) => {
    world.csms.setBoot({ status: 'Accepted', interval: 0 });
    await world.start();
    await world.online();
    await world.csms.waitForCall('Heartbeat', { timeoutMs: 3000 });
    await world.never(() => world.heartbeats().length > 1, 4000, 'a second heartbeat');
  });

  systemTest(
    'a BootNotification without an answer is sent again under the same id',
    { settings: { ocpp: { MessageTimeout: 2 } } },
    async (world) => {
      world.csms.answer('BootNotification', { silence: true });
      await world.start();
      const [first, second] = await world.csms.waitFor(() => (world.boots().length >= 2 ? world.boots() : null), {
        timeoutMs: ONLINE_MS,
        what: 'two BootNotifications',
      });
      assert.equal(second.id, first.id);
      assert.ok(second.time - first.time >= 1900);
      assert.ok(await world.secc.waitForLine('Boot Notification timed out, resending...'));
      await world.csms.waitForCall('Heartbeat', { timeoutMs: 5000 });
    },
  );

  systemTest(
    'acceptance is not asked for again after a restart of the link, but after a restart of the process',
    {},
    async (world) => {
      await world.start();
      await world.settled();
      world.link.close(1012, 'restart');
      await world.csms.waitFor(() => world.link.connections.length === 2, {
        timeoutMs: 10000,
        what: 'the second connection',
      });
      await world.nextHeartbeat();
      assert.equal(world.boots().length, 1);
      await world.interruptCleanly();
      world.startSecc();
      await world.csms.waitFor(() => world.boots().length === 2, {
        timeoutMs: ONLINE_MS,
        what: 'a BootNotification of the new process',
      });
    },
  );
});

theme('a central system that goes and comes', () => {
  systemTest('down at the start, up later', { timeoutMs: 60000 }, async (world) => {
    await world.csms.stop();
    await world.start();
    await world.secc.waitForLine('Opening connection failed', { timeoutMs: ONLINE_MS });
    await world.csms.start();
    await world.online({ timeoutMs: 20000 });
  });

  systemTest('restarted: the station returns and does not register again', {}, async (world) => {
    world.csms.setBoot(FAST);
    await world.start();
    await world.settled();
    await world.csms.stop();
    await pause(500);
    await world.csms.start();
    await world.csms.waitFor(() => world.link.online, { timeoutMs: 20000, what: 'the station to return' });
    await world.nextHeartbeat();
    assert.equal(world.boots().length, 1);
  });

  systemTest('no heartbeat is sent from the past: after an outage they go on at their pace', {}, async (world) => {
    world.csms.setBoot(FAST);
    await world.start();
    await world.settled();
    await world.csms.stop();
    await pause(2500);
    await world.csms.start();
    await world.csms.waitFor(() => world.link.online, { timeoutMs: 25000, what: 'the station to return' });
    const since = world.csms.mark;
    await pause(2500);
    const beats = world.csms.calls('Heartbeat', { after: since });
    assert.ok(beats.length >= 2 && beats.length <= 4, `${beats.length} heartbeats in 2.5 s`);
  });

  systemTest('four timeouts in a row renew the connection', HEARTBEAT_ALONE, async (world) => {
    world.csms.setBoot(FAST);
    world.csms.answer('Heartbeat', { silence: true, times: 4 });
    await world.start();
    await world.csms.waitFor(() => world.link.connections.length === 2, {
      timeoutMs: 30000,
      what: 'a second connection',
    });
    assert.deepEqual((({ code, reason }) => [code, reason])(world.link.connections[0].closed), [
      1000,
      'Reconnecting to OCPP backoffice due to timeout',
    ]);
    await world.nextHeartbeat();
    assert.equal(world.boots().length, 1);
  });

  systemTest('three timeouts and an answer do not', HEARTBEAT_ALONE, async (world) => {
    world.csms.setBoot(FAST);
    world.csms.answer('Heartbeat', [{ silence: true, times: 3 }, {}, { silence: true, times: 3 }]);
    await world.start();
    await world.csms.waitFor(() => world.heartbeats().length >= 8, { timeoutMs: 30000, what: 'eight heartbeats' });
    assert.equal(world.link.connections.length, 1);
  });
});
