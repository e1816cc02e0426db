// Primary and auxiliary backoffice side by side, and the auxiliary alone.
import { assert, ID, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

const BOTH = { auxiliary: {} };
const FAST = { status: 'Accepted', interval: 1 };

/** Resolves when the auxiliary central system has accepted the station. */
function auxiliaryOnline(world) {
  const link = world.auxiliary.station(ID);
  return world.auxiliary.waitFor(() => link.online && link.registration === 'Accepted', {
    timeoutMs: ONLINE_MS,
    what: 'the auxiliary backoffice to be online',
  });
}

theme('two backoffices', () => {
  systemTest(
    'the station registers with both and keeps both heartbeats, each at its own interval',
    BOTH,
    async (world) => {
      world.csms.setBoot(FAST);
      world.auxiliary.setBoot({ status: 'Accepted', interval: 3 });
      await world.start();
      await Promise.all([world.online(), auxiliaryOnline(world)]);
      await world.auxiliary.waitFor(() => world.heartbeats(world.auxiliary).length >= 3, {
        timeoutMs: 12000,
        what: 'three heartbeats of the auxiliary',
      });
      assert.equal(world.boots().length, 1);
      assert.equal(world.boots(world.auxiliary).length, 1);
      assert.ok(world.heartbeats().length >= 5);
      const [first, second] = world.heartbeats(world.auxiliary);
      assert.ok(Math.abs(second.time - first.time - 3000) < 400);
      assert.notEqual(world.boots()[0].id, world.boots(world.auxiliary)[0].id);
    },
  );

  systemTest('the auxiliary lost and back does not disturb the primary', BOTH, async (world) => {
    world.csms.setBoot(FAST);
    await world.start();
    await Promise.all([world.online(), auxiliaryOnline(world)]);
    await world.auxiliary.stop();
    for (let beat = 0; beat < 3; beat += 1) await world.nextHeartbeat({ timeoutMs: 2500 });
    await world.auxiliary.start();
    await world.auxiliary.waitFor(() => world.auxiliary.station(ID).online, {
      timeoutMs: 25000,
      what: 'the auxiliary to return',
    });
    assert.equal(world.link.connections.length, 1);
    assert.equal(world.boots(world.auxiliary).length, 1);
  });

  systemTest('the primary lost does not disturb the auxiliary', BOTH, async (world) => {
    world.auxiliary.setBoot(FAST);
    await world.start();
    await Promise.all([world.online(), auxiliaryOnline(world)]);
    await world.csms.stop();
    for (let beat = 0; beat < 3; beat += 1) await world.nextHeartbeat({ system: world.auxiliary, timeoutMs: 2500 });
    assert.equal(world.auxiliary.station(ID).connections.length, 1);
    await world.csms.start();
  });

  systemTest('one pending, the other accepted: each keeps its own registration', BOTH, async (world) => {
    world.csms.setBoot({ status: 'Pending', interval: 3 }, { status: 'Accepted', interval: 300 });
    world.auxiliary.setBoot({ status: 'Rejected', interval: 600 });
    await world.start();
    await world.online();
    assert.equal(world.auxiliary.station(ID).registration, 'Rejected');
    assert.equal(world.boots(world.auxiliary).length, 1);
    await world.answers();
    await assert.rejects(world.auxiliary.station(ID).call('FooBar', {}, { timeoutMs: 1500 }), /no answer/);
  });

  systemTest(
    'what the auxiliary may not do is dropped without an answer; the primary gets one',
    BOTH,
    async (world) => {
      await world.start();
      await Promise.all([world.online(), auxiliaryOnline(world)]);
      await assert.rejects(
        world.auxiliary.station(ID).call('CancelReservation', { reservationId: 1 }, { timeoutMs: 2000 }),
        /no answer/,
      );
      await assert.rejects(world.link.call('CancelReservation', { reservationId: 1 }), { code: 'NotSupported' });
      await world.answers(world.auxiliary.station(ID));
    },
  );
});

theme('the auxiliary alone', () => {
  const ALONE = { auxiliary: {}, primary: false };

  systemTest('only the auxiliary is connected', ALONE, async (world) => {
    world.auxiliary.setBoot(FAST);
    await world.start();
    await auxiliaryOnline(world);
    await world.nextHeartbeat({ system: world.auxiliary });
    assert.equal(world.csms.tcpConnections, 0);
  });

  systemTest('it may do less: also the local list is not its business', ALONE, async (world) => {
    await world.start();
    await auxiliaryOnline(world);
    const link = world.auxiliary.station(ID);
    await assert.rejects(link.call('GetLocalListVersion', {}, { timeoutMs: 2000 }), /no answer/);
    await world.answers(link);
  });

  systemTest('mains loss closes both links', BOTH, async (world) => {
    await world.start();
    await Promise.all([world.online(), auxiliaryOnline(world)]);
    await world.station.waitFor(() => world.station.servers.BoardControl.subscribers.length > 0, {
      timeoutMs: 5000,
      what: 'the stream of board control',
    });
    world.station.board.loseMains();
    await world.csms.waitFor(() => !world.link.online, { timeoutMs: 3000, what: 'the end of the primary link' });
    await world.auxiliary.waitFor(() => !world.auxiliary.station(ID).online, {
      timeoutMs: 3000,
      what: 'the end of the auxiliary link',
    });
    await pause(200);
  });
});
