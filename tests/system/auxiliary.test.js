// Sessions with two backoffices, and with the auxiliary alone: what it is told, and what of its answers counts.
import { State } from '../../simulator/station/connector.js';
import { AccountBook } from '../../simulator/csms/accountbook.js';
import { charge, freeCharging, leave, payloadOf, transactionActions } from './lib/charging.js';
import { assert, ID, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

// They mostly wait.
const TOGETHER = { concurrency: 5 };

const QUIET_MS = 700;
// What the auxiliary gives out, to tell it from the ids of the primary, which begin with 1001.
const FIRST_AUXILIARY_ID = 5001;

function both(ocpp = {}, more = {}) {
  return freeCharging(ocpp, { auxiliary: {}, ...more });
}

function alone(ocpp = {}, more = {}) {
  return both(ocpp, {
    primary: false,
    ...more,
    station: { autoAuthorize: true, needsApproval: false, times: { startingMs: 50, stoppingMs: 50 } },
  });
}

function auxiliaryOnline(world) {
  const link = world.auxiliary.station(ID);
  return world.auxiliary.waitFor(() => link.online && link.registration === 'Accepted', {
    timeoutMs: ONLINE_MS,
    what: 'the auxiliary backoffice to be online',
  });
}

async function begin(world) {
  world.auxiliary.book = new AccountBook({ firstTransactionId: FIRST_AUXILIARY_ID });
  await world.start();
  await auxiliaryOnline(world);
  if (world.options.primary !== false) await world.settled();
}

function withoutTransactionId({ transactionId, ...rest }) {
  return rest;
}

theme(
  'sessions beside the primary',
  () => {
    systemTest(
      'both are told of start and end in the same words; the samples are for the primary',
      both({ MeterValueSampleInterval: 1 }),
      async (world) => {
        const { csms, auxiliary } = world;
        await begin(world);
        await charge(world);
        await csms.waitForCall('MeterValues', { timeoutMs: 5000 });
        await leave(world);
        const stop = await payloadOf(csms, 'StopTransaction');
        const told = await payloadOf(auxiliary, 'StopTransaction');
        assert.deepEqual(auxiliary.calls('StartTransaction')[0].payload, csms.calls('StartTransaction')[0].payload);
        assert.deepEqual(withoutTransactionId(told), withoutTransactionId(stop));
        assert.deepEqual(transactionActions(auxiliary), ['StartTransaction', 'StopTransaction']);
        assert.deepEqual(csms.book.check().problems, []);
      },
    );

    systemTest('the transaction id of the primary counts, for both', both(), async (world) => {
      const { csms, auxiliary } = world;
      // The answer of the auxiliary comes last, and still does not count.
      auxiliary.answer('StartTransaction', { delayMs: 300 });
      await begin(world);
      await charge(world);
      await payloadOf(csms, 'StartTransaction');
      await world.secc.waitForLine('In result call from Tovira Hub is rejected by filter. Response not handled');
      await leave(world);
      assert.equal((await payloadOf(csms, 'StopTransaction')).transactionId, 1001);
      assert.equal((await payloadOf(auxiliary, 'StopTransaction')).transactionId, 1001);
    });

    systemTest('a refusal by the auxiliary does not touch the session', both(), async (world) => {
      world.auxiliary.answer('StartTransaction', { status: 'Invalid' });
      await begin(world);
      await charge(world);
      await world.secc.waitForLine('In result call from Tovira Hub is rejected by filter. Response not handled');
      await pause(QUIET_MS);
      assert.equal(world.station.connector.state, State.Charging);
      assert.deepEqual(world.csms.calls('StopTransaction'), []);
    });

    systemTest('a refusal by the primary ends the session, and both are told', both(), async (world) => {
      world.csms.answer('StartTransaction', { status: 'Blocked' });
      await begin(world);
      world.station.plug();
      world.station.tag('A');
      assert.equal((await payloadOf(world.csms, 'StopTransaction')).reason, 'DeAuthorized');
      assert.equal((await payloadOf(world.auxiliary, 'StopTransaction')).reason, 'DeAuthorized');
    });

    systemTest('an auxiliary that rejects the station does not keep anybody from charging', both(), async (world) => {
      world.auxiliary.setBoot({ status: 'Rejected', interval: 600 });
      await world.start();
      await world.settled();
      await charge(world);
      await payloadOf(world.csms, 'StartTransaction');
      await leave(world);
      assert.equal((await payloadOf(world.csms, 'StopTransaction')).transactionId, 1001);
      await pause(QUIET_MS);
      assert.deepEqual(transactionActions(world.auxiliary), []);
    });

    systemTest('both are told of the state of the connector', both({ MinimumStatusDuration: 1 }), async (world) => {
      await begin(world);
      const preparing = ({ payload }) => payload.connectorId === 1 && payload.status === 'Preparing';
      world.station.plug();
      for (const system of [world.csms, world.auxiliary])
        await system.waitForCall('StatusNotification', { where: preparing, timeoutMs: 5000 });
    });
  },
  TOGETHER,
);

theme(
  'one of the two is away',
  () => {
    systemTest(
      'without the primary the auxiliary is told at once, and the primary in full when it is back',
      both({ MeterValueSampleInterval: 1 }),
      async (world) => {
        const { csms, auxiliary } = world;
        await begin(world);
        await csms.stop();
        await charge(world);
        const start = await payloadOf(auxiliary, 'StartTransaction');
        await pause(1200);
        await leave(world);
        const stop = await payloadOf(auxiliary, 'StopTransaction');
        // Nobody whose id counts has given one yet.
        assert.equal(stop.transactionId, -1);
        await csms.start();
        const confirmed = await payloadOf(csms, 'StopTransaction', { timeoutMs: ONLINE_MS });
        assert.equal(confirmed.transactionId, 1001);
        assert.deepEqual(withoutTransactionId(confirmed), withoutTransactionId(stop));
        assert.deepEqual(csms.calls('StartTransaction')[0].payload, start);
        assert.ok(csms.calls('MeterValues').length >= 2, 'with the samples of the time without a link');
        assert.deepEqual(csms.book.check().problems, []);
        assert.deepEqual(transactionActions(auxiliary), ['StartTransaction', 'StopTransaction'], 'it is told once');
      },
    );

    systemTest(
      'a refusal by the auxiliary does not touch the session either while the primary is offline',
      both(),
      async (world) => {
        await begin(world);
        await world.csms.stop();
        world.auxiliary.answer('StartTransaction', { status: 'Invalid' });
        await charge(world);
        await payloadOf(world.auxiliary, 'StartTransaction');
        await pause(QUIET_MS);
        assert.equal(world.station.connector.state, State.Charging);
        await world.csms.start();
        assert.equal((await payloadOf(world.csms, 'StartTransaction', { timeoutMs: ONLINE_MS })).idTag, 'A');
      },
    );

    systemTest(
      'without the auxiliary the primary is told as ever; the auxiliary never hears of what it missed',
      both(),
      async (world) => {
        const { csms, auxiliary } = world;
        await begin(world);
        await auxiliary.stop();
        await charge(world);
        await payloadOf(csms, 'StartTransaction');
        await leave(world);
        assert.equal((await payloadOf(csms, 'StopTransaction')).transactionId, 1001);
        await auxiliary.start();
        await auxiliary.waitFor(() => auxiliary.station(ID).online, { timeoutMs: ONLINE_MS, what: 'the auxiliary' });
        await pause(QUIET_MS);
        assert.deepEqual(transactionActions(auxiliary), []);
      },
    );

    systemTest(
      'after a restart only the primary gets what was not answered before',
      both({ MessageTimeout: 30 }),
      async (world) => {
        const { csms, auxiliary } = world;
        csms.answer('StartTransaction', { silence: true });
        auxiliary.answer('StartTransaction', { silence: true });
        await begin(world);
        await charge(world);
        await Promise.all([payloadOf(csms, 'StartTransaction'), payloadOf(auxiliary, 'StartTransaction')]);
        await world.restartSecc();
        await payloadOf(csms, 'StartTransaction', { number: 2, timeoutMs: ONLINE_MS });
        await pause(QUIET_MS);
        assert.equal(auxiliary.calls('StartTransaction').length, 1);
      },
    );
  },
  TOGETHER,
);

theme(
  'sessions with the auxiliary alone',
  () => {
    systemTest('it is told of start and end, and its transaction id counts', alone(), async (world) => {
      await begin(world);
      await charge(world);
      await payloadOf(world.auxiliary, 'StartTransaction');
      await leave(world);
      assert.equal((await payloadOf(world.auxiliary, 'StopTransaction')).transactionId, FIRST_AUXILIARY_ID);
      assert.deepEqual(world.auxiliary.book.check().problems, []);
      assert.equal(world.csms.tcpConnections, 0);
    });

    systemTest('its refusal of a start ends the session', alone(), async (world) => {
      world.auxiliary.answer('StartTransaction', { status: 'Blocked' });
      await begin(world);
      world.station.plug();
      world.station.tag('A');
      assert.equal((await payloadOf(world.auxiliary, 'StopTransaction')).reason, 'DeAuthorized');
    });

    systemTest(
      'there are no samples, neither of a session nor of the clock',
      alone({ MeterValueSampleInterval: 1, ClockAlignedDataInterval: 1 }),
      async (world) => {
        await begin(world);
        await charge(world);
        await payloadOf(world.auxiliary, 'StartTransaction');
        await pause(2500);
        assert.deepEqual(world.auxiliary.calls('MeterValues'), []);
      },
    );

    systemTest('it is told of the state of the connector', alone({ MinimumStatusDuration: 0 }), async (world) => {
      await begin(world);
      const charging = ({ payload }) => payload.connectorId === 1 && payload.status === 'Charging';
      await charge(world);
      await world.auxiliary.waitForCall('StatusNotification', { where: charging, timeoutMs: 5000 });
    });
  },
  TOGETHER,
);
