// Whole charges: what an answer to StartTransaction brings about, and what survives a restart or a dead link.
import { State } from '../../simulator/station/connector.js';
import { charge, freeCharging, leave, payloadOf, transactionActions } from './lib/charging.js';
import { assert, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

// They mostly wait.
const TOGETHER = { concurrency: 5 };

// Long enough for a message that should not come.
const QUIET_MS = 700;

async function online(world) {
  await world.start();
  await world.online();
}

/** The driver comes, and the central system answers StartTransaction as it was told. */
async function chargeWith(world, answer) {
  world.csms.answer('StartTransaction', answer);
  const { station } = world;
  await online(world);
  await station.waitFor(() => station.connector.approved, { timeoutMs: 5000, what: 'the approval' });
  station.plug();
  station.tag('A');
  await world.csms.waitForCall('StartTransaction', { timeoutMs: 5000 });
}

theme(
  'an answer to StartTransaction that is not Accepted',
  () => {
    for (const status of ['Blocked', 'ConcurrentTx', 'Expired', 'Invalid']) {
      systemTest(
        `${status} with StopTransactionOnInvalidId: the transaction ends as DeAuthorized`,
        freeCharging({ StopTransactionOnInvalidId: true }),
        async (world) => {
          await chargeWith(world, { status });
          const stop = await payloadOf(world.csms, 'StopTransaction');
          assert.equal(stop.reason, 'DeAuthorized');
          assert.equal(stop.transactionId, 1001);
          assert.equal(stop.idTag, 'A');
          await world.secc.waitForLine('[1] StartTransactionConf: Stopping transaction 1001 with reason DeAuthorized');
        },
      );

      systemTest(
        `${status} without StopTransactionOnInvalidId: energy stops, the transaction stays open until the cable is out`,
        freeCharging({ StopTransactionOnInvalidId: false }),
        async (world) => {
          await chargeWith(world, { status });
          await world.station.waitForState(State.SuspendedByEvse, { timeoutMs: 3000 });
          await world.secc.waitForLine('[1] StartTransactionConf: Stopping energy delivery');
          const { register } = world.station.meter;
          await pause(QUIET_MS);
          assert.equal(world.station.meter.register, register, 'no energy flows');
          assert.deepEqual(world.csms.calls('StopTransaction'), []);
          world.station.unplug();
          const stop = await payloadOf(world.csms, 'StopTransaction');
          assert.equal(stop.reason, 'EVDisconnected');
          assert.equal(stop.transactionId, 1001);
        },
      );
    }

    systemTest(
      'a status that OCPP does not know counts as Invalid, and its id is kept',
      freeCharging(),
      async (world) => {
        await chargeWith(world, { payload: (own) => ({ ...own, idTagInfo: { status: 'Maybe' } }) });
        const stop = await payloadOf(world.csms, 'StopTransaction');
        assert.equal(stop.reason, 'DeAuthorized');
        assert.equal(stop.transactionId, 1001);
      },
    );

    systemTest(
      'Accepted: the session goes on, and the session manager knows the group',
      freeCharging(),
      async (world) => {
        await chargeWith(world, { payload: { idTagInfo: { status: 'Accepted', parentIdTag: 'GROUP' } } });
        await world.station.waitFor(() => world.station.connector.user?.parentId === 'GROUP', {
          timeoutMs: 3000,
          what: 'the group',
        });
        await pause(QUIET_MS);
        assert.equal(world.station.connector.state, State.Charging);
      },
    );
  },
  TOGETHER,
);

const SAMPLED = { MeterValueSampleInterval: 1 };

/** Waits until a MeterValues comes after `mark`; gives its payload. */
async function nextSample(world, mark) {
  return (await world.csms.waitForCall('MeterValues', { after: mark, timeoutMs: ONLINE_MS })).payload;
}

theme(
  'a session that survives a restart',
  () => {
    const RESTARTS = {
      'signal 9': (world) => world.restartSecc(),
      SIGINT: async (world) => {
        await world.interruptCleanly();
        world.startSecc();
      },
    };
    for (const [how, restart] of Object.entries(RESTARTS)) {
      systemTest(
        `after ${how} it keeps its transaction, its id and its samples, and the next one gets its own`,
        freeCharging(SAMPLED),
        async (world) => {
          await online(world);
          await charge(world);
          await nextSample(world, -1);
          await restart(world);
          const { mark } = world.csms;
          assert.equal((await nextSample(world, mark)).transactionId, 1001);
          assert.equal(world.csms.calls('StartTransaction').length, 1);
          await leave(world);
          const stop = await payloadOf(world.csms, 'StopTransaction');
          assert.equal(stop.transactionId, 1001);
          await charge(world, 'B');
          assert.equal((await payloadOf(world.csms, 'StartTransaction', { number: 2 })).idTag, 'B');
          await leave(world, 'B');
          assert.equal((await payloadOf(world.csms, 'StopTransaction', { number: 2 })).transactionId, 1002);
          assert.deepEqual(world.csms.book.check().problems, []);
        },
      );
    }

    systemTest(
      'one that ends while the process is away is ended when it is back, with the time and reading of its end',
      freeCharging(),
      async (world) => {
        await online(world);
        await charge(world);
        await payloadOf(world.csms, 'StartTransaction');
        await pause(200);
        await world.secc.kill();
        world.station.tag('A');
        await world.station.waitForState(State.Finishing, { timeoutMs: 3000 });
        const { session_end_energy: end, session_end_time: time } = world.station.meter.reading();
        await pause(1100);
        world.startSecc();
        const stop = await payloadOf(world.csms, 'StopTransaction', { timeoutMs: ONLINE_MS });
        assert.equal(stop.transactionId, 1001);
        assert.equal(stop.meterStop, Math.floor(end / 1000));
        assert.equal(stop.timestamp, time);
        assert.equal(stop.reason, 'Local');
      },
    );

    systemTest(
      'a start without an answer is sent again by the next process, under its message id and ahead of what is newer',
      freeCharging({ MessageTimeout: 30 }),
      async (world) => {
        world.csms.answer('StartTransaction', { silence: true });
        await online(world);
        await charge(world);
        await payloadOf(world.csms, 'StartTransaction');
        await leave(world);
        await pause(200);
        await world.restartSecc();
        const stop = await payloadOf(world.csms, 'StopTransaction', { timeoutMs: ONLINE_MS });
        assert.equal(stop.transactionId, 1001);
        const starts = world.csms.calls('StartTransaction');
        assert.deepEqual(transactionActions(world.csms), ['StartTransaction', 'StartTransaction', 'StopTransaction']);
        assert.equal(starts[1].id, starts[0].id);
        assert.deepEqual(starts[1].payload, starts[0].payload);
        assert.deepEqual(world.csms.book.check().problems, []);
      },
    );
  },
  TOGETHER,
);

theme(
  'a link that is dead',
  () => {
    systemTest(
      'two sessions without a link are told of in order, each end with the id of its start',
      freeCharging(),
      async (world) => {
        await world.start();
        await world.settled();
        await world.csms.stop();
        for (const tag of ['A', 'B']) {
          await charge(world, tag);
          await pause(200);
          await leave(world, tag);
        }
        await world.csms.start();
        await payloadOf(world.csms, 'StopTransaction', { number: 2, timeoutMs: ONLINE_MS });
        assert.deepEqual(transactionActions(world.csms), [
          'StartTransaction',
          'StopTransaction',
          'StartTransaction',
          'StopTransaction',
        ]);
        const { balanced, problems, sessions } = world.csms.book.check();
        assert.ok(balanced, JSON.stringify(problems));
        assert.deepEqual(
          sessions.map(({ idTag, transactionId }) => [idTag, transactionId]),
          [
            ['A', 1001],
            ['B', 1002],
          ],
        );
      },
    );

    systemTest(
      'a session before the first answer of the central system waits for the acceptance',
      freeCharging({ ChargeBeforeAcceptedPolicy: 'always' }),
      async (world) => {
        world.csms.setDoor({ mode: 'reset' });
        await world.start();
        await charge(world);
        world.csms.setDoor({ mode: 'open' });
        await world.online();
        const start = await payloadOf(world.csms, 'StartTransaction');
        assert.equal(start.idTag, 'A');
        assert.ok(world.csms.calls('StartTransaction')[0].index > world.boots()[0].index);
        await leave(world);
        assert.equal((await payloadOf(world.csms, 'StopTransaction')).transactionId, 1001);
      },
    );

    systemTest(
      'no answer to StartTransaction in time: it is sent again, and the end gets its id',
      freeCharging({ MessageTimeout: 1 }),
      async (world) => {
        world.csms.answer('StartTransaction', { silence: true, times: 2 });
        await online(world);
        await charge(world);
        await leave(world);
        assert.equal((await payloadOf(world.csms, 'StopTransaction')).transactionId, 1001);
        const ids = world.csms.calls('StartTransaction').map(({ id }) => id);
        assert.equal(ids.length, 3);
        assert.equal(new Set(ids).size, 1);
      },
    );

    systemTest(
      'a StartTransaction that earned a CALLERROR is tried again after its interval',
      freeCharging({ TransactionMessageAttempts: 3, TransactionMessageRetryInterval: 1 }),
      async (world) => {
        world.csms.answer('StartTransaction', { error: 'InternalError', times: 2 });
        await online(world);
        await charge(world);
        await payloadOf(world.csms, 'StartTransaction', { number: 3 });
        const [first, second, third] = world.csms.calls('StartTransaction').map(({ time }) => time);
        assert.ok(second - first >= 950, `${second - first} ms`);
        assert.ok(third - second >= 1950, `${third - second} ms`);
        await leave(world);
        assert.equal((await payloadOf(world.csms, 'StopTransaction')).transactionId, 1001);
      },
    );
  },
  TOGETHER,
);
