// Who may charge: tags under each registration, online, offline, checked before and after the fact, and with two
// backoffices.
import { State } from '../../simulator/station/connector.js';
import { charge, freeCharging, leave, payloadOf } from './lib/charging.js';
import { assert, ID, ONLINE_MS, pause, systemTest, theme } from './lib/world.js';

// They mostly wait.
const TOGETHER = { concurrency: 5 };

const QUIET_MS = 700;
// EAuthorizationSource of the contract.
const BY_AUTHORIZE = 4;
const BY_CACHE = 5;
const SUCCESS = 0;

const IGNORED = 'Ignore the authorizeId notification, due to never received acceptance from CPO.';

function options(ocpp = {}, more = {}) {
  return {
    ...more,
    settings: { ocpp: { MinimumStatusDuration: 600, MeterValueSampleInterval: 0, ...ocpp } },
    station: { times: { startingMs: 50, stoppingMs: 50 }, ...more.station },
  };
}

/** A tag is presented; resolves with true when it is let through, with false when it is refused. */
async function presented(world, tag, { timeoutMs = 5000 } = {}) {
  const { station } = world;
  const before = station.feedback.length;
  assert.equal(station.tag(tag), 'waiting');
  const [{ type }] = await station.waitFor(
    () => (station.feedback.length > before ? station.feedback.slice(before) : null),
    { timeoutMs, what: `an answer for ${tag}` },
  );
  return type === SUCCESS;
}

/** The process listens to tags, and knows its backoffices. */
async function listening(world) {
  await world.start();
  const { SessionManager, SessionManagerAuth } = world.station.servers;
  const isTold = ({ method }) => method === 'SetExternalChargeApproval';
  await world.station.waitFor(() => SessionManagerAuth.subscribers.length > 0 && SessionManager.calls.some(isTold), {
    timeoutMs: ONLINE_MS,
    what: 'the process to listen',
  });
}

async function online(world) {
  await world.start();
  await world.settled();
}

/** The primary central system goes away, and the process has noticed. */
async function cutOff(world) {
  const from = world.secc.lines.length;
  await world.csms.stop();
  await world.secc.waitForLine('Custom closed callback for Cpo Backoffice', { from, timeoutMs: 5000 });
}

/** The driver comes with a tag that is let through. */
async function chargeWithTag(world, tag) {
  world.station.plug();
  assert.ok(await presented(world, tag), `${tag} is let through`);
  await world.station.waitForState(State.Charging, { timeoutMs: 3000 });
}

theme(
  'a tag at an accepted station',
  () => {
    systemTest(
      'Accepted: the session begins with the word and the group of the central system',
      options(),
      async (world) => {
        world.csms.tags.set('A', { status: 'Accepted', parentIdTag: 'GROUP' });
        await online(world);
        await chargeWithTag(world, 'A');
        assert.deepEqual(
          world.csms.calls('Authorize').map(({ payload }) => payload),
          [{ idTag: 'A' }],
        );
        const { source, parentId } = world.station.connector.user;
        assert.equal(source, BY_AUTHORIZE);
        assert.equal(parentId, 'GROUP');
        assert.equal((await payloadOf(world.csms, 'StartTransaction')).idTag, 'A');
      },
    );

    systemTest('each other status: refused, and nothing begins', options(), async (world) => {
      const statuses = ['Blocked', 'ConcurrentTx', 'Expired', 'Invalid'];
      for (const status of statuses) world.csms.tags.set(status, { status });
      await online(world);
      world.station.plug();
      for (const status of statuses) assert.equal(await presented(world, status), false, status);
      assert.equal(world.csms.calls('Authorize').length, statuses.length);
      assert.equal(world.station.connector.state, State.PreparingPluggedIn);
      assert.deepEqual(world.csms.calls('StartTransaction'), []);
    });

    for (const allowed of [true, false]) {
      systemTest(
        `Authorize times out: ${allowed ? 'let through' : 'refused'}, with AllowOfflineTxForUnknownId ${allowed}`,
        options({ MessageTimeout: 1, AllowOfflineTxForUnknownId: allowed }),
        async (world) => {
          await online(world);
          world.csms.answer('Authorize', { silence: true });
          world.station.plug();
          const begun = Date.now();
          assert.equal(await presented(world, 'A'), allowed);
          assert.ok(Date.now() - begun >= 900, 'not before its time was over');
          await world.secc.waitForLine(`Authorize timed out, AllowOfflineTxForUnknownId:${allowed}`);
          assert.equal(world.csms.calls('Authorize').length, 1, 'it is not asked again');
        },
      );
    }

    systemTest('another tag of the group ends the session, a stranger does not', options(), async (world) => {
      world.csms.tags.set('A', { status: 'Accepted', parentIdTag: 'GROUP' });
      world.csms.tags.set('B', { status: 'Accepted', parentIdTag: 'GROUP' });
      await online(world);
      await chargeWithTag(world, 'A');
      assert.equal(await presented(world, 'STRANGER'), false);
      assert.equal(world.station.connector.state, State.Charging);
      assert.equal(await presented(world, 'B'), true);
      assert.equal((await payloadOf(world.csms, 'StopTransaction')).reason, 'Local');
    });
  },
  TOGETHER,
);

theme(
  'a tag that is known',
  () => {
    /** One charge with tag A, so that the cache knows it. */
    async function learn(world) {
      await online(world);
      await chargeWithTag(world, 'A');
      await payloadOf(world.csms, 'StartTransaction');
      await leave(world, 'A');
      await payloadOf(world.csms, 'StopTransaction');
    }

    systemTest(
      'LocalPreAuthorize: let through at once, and the central system is asked all the same',
      options({ LocalPreAuthorize: true }),
      async (world) => {
        await learn(world);
        world.csms.answer('Authorize', { delayMs: 1500 });
        const begun = Date.now();
        await chargeWithTag(world, 'A');
        assert.ok(Date.now() - begun < 1200, 'before the answer');
        assert.equal(world.station.connector.user.source, BY_CACHE);
        assert.deepEqual(await payloadOf(world.csms, 'Authorize', { number: 2 }), { idTag: 'A' });
        await world.secc.waitForLine('Transaction was locally pre-authorized, no action required');
        assert.equal(world.station.connector.state, State.Charging);
      },
    );

    systemTest(
      'LocalPreAuthorize, and the central system refuses afterwards: the session ends as DeAuthorized',
      options({ LocalPreAuthorize: true }),
      async (world) => {
        await learn(world);
        world.csms.answer('Authorize', { status: 'Blocked', delayMs: 500 });
        await chargeWithTag(world, 'A');
        assert.equal((await payloadOf(world.csms, 'StopTransaction', { number: 2 })).reason, 'DeAuthorized');
        await world.secc.waitForLine('[1] Pre-authorized token A was invalid, deauthorizing connector');
      },
    );

    systemTest(
      'LocalPreAuthorize, and the check afterwards times out: the session goes on',
      options({ LocalPreAuthorize: true, MessageTimeout: 1 }),
      async (world) => {
        await learn(world);
        world.csms.answer('Authorize', { silence: true });
        await chargeWithTag(world, 'A');
        await world.secc.waitForLine('Authorize timed out but was locally pre-authorized: do nothing');
        await pause(QUIET_MS);
        assert.equal(world.station.connector.state, State.Charging);
      },
    );

    systemTest(
      'offline: let through from the cache, also after a restart; a stranger is refused',
      options({ ChargeBeforeAcceptedPolicy: 'acceptedOnce' }),
      async (world) => {
        await learn(world);
        await cutOff(world);
        await chargeWithTag(world, 'A');
        assert.equal(world.station.connector.user.source, BY_CACHE);
        await leave(world, 'A');
        await world.secc.kill();
        const { calls } = world.station.servers.SessionManager;
        const told = () => calls.filter(({ method }) => method === 'SetExternalChargeApproval').length;
        const before = told();
        world.startSecc();
        await world.station.waitFor(() => told() > before, { timeoutMs: ONLINE_MS, what: 'the approval' });
        world.station.plug();
        assert.equal(await presented(world, 'STRANGER'), false);
        assert.equal(await presented(world, 'A'), true);
        assert.equal(world.station.connector.user.source, BY_CACHE);
      },
    );

    systemTest(
      'offline, LocalAuthorizeOffline false: the cache is not asked',
      options({ LocalAuthorizeOffline: false }),
      async (world) => {
        await learn(world);
        await cutOff(world);
        world.station.plug();
        assert.equal(await presented(world, 'A'), false);
      },
    );
  },
  TOGETHER,
);

theme(
  'a tag at a station that is not accepted',
  () => {
    const REGISTRATIONS = { Pending: 'Pending', Rejected: 'Rejected' };
    for (const policy of ['never', 'acceptedOnce', 'always']) {
      for (const status of Object.values(REGISTRATIONS)) {
        systemTest(
          `${status}, policy ${policy}: refused`,
          options({ ChargeBeforeAcceptedPolicy: policy, AllowOfflineTxForUnknownId: true }),
          async (world) => {
            world.csms.setBoot({ status, interval: 600 });
            await listening(world);
            await world.csms.waitFor(() => world.link.registration === status, {
              timeoutMs: ONLINE_MS,
              what: status,
            });
            await pause(300);
            world.station.plug();
            assert.equal(await presented(world, 'A'), false);
            await world.secc.waitForLine(IGNORED);
            assert.deepEqual(world.csms.calls('Authorize'), []);
          },
        );
      }
    }

    for (const [policy, isLetThrough] of Object.entries({ never: false, acceptedOnce: false, always: true })) {
      systemTest(
        `never answered, policy ${policy}: ${isLetThrough ? 'decided as without a link' : 'refused'}`,
        options({ ChargeBeforeAcceptedPolicy: policy, AllowOfflineTxForUnknownId: true }),
        async (world) => {
          world.csms.setDoor({ mode: 'reset' });
          await listening(world);
          world.station.plug();
          assert.equal(await presented(world, 'A'), isLetThrough);
          if (isLetThrough) await world.secc.waitForLine('Session is authorized by unknown id');
          else await world.secc.waitForLine(IGNORED);
        },
      );
    }

    systemTest(
      'never answered since the restart but accepted before, policy acceptedOnce: decided as without a link',
      options({ ChargeBeforeAcceptedPolicy: 'acceptedOnce', AllowOfflineTxForUnknownId: true }),
      async (world) => {
        await online(world);
        world.csms.setDoor({ mode: 'reset' });
        const { calls } = world.station.servers.SessionManager;
        const told = () => calls.filter(({ method }) => method === 'SetExternalChargeApproval').length;
        await world.secc.kill();
        const before = told();
        world.startSecc();
        await world.station.waitFor(() => told() > before, { timeoutMs: ONLINE_MS, what: 'the approval' });
        world.station.plug();
        assert.equal(await presented(world, 'A'), true);
      },
    );

    systemTest(
      'decided as without a link, policy always: an unknown tag is refused with AllowOfflineTxForUnknownId false',
      options({ ChargeBeforeAcceptedPolicy: 'always', AllowOfflineTxForUnknownId: false }),
      async (world) => {
        world.csms.setDoor({ mode: 'reset' });
        await listening(world);
        world.station.plug();
        assert.equal(await presented(world, 'A'), false);
        assert.equal(
          world.secc.lines.find((line) => line.includes(IGNORED)),
          undefined,
        );
      },
    );
  },
  TOGETHER,
);

theme(
  'free charging, checked after the fact',
  () => {
    systemTest('a tag that is refused ends the session as DeAuthorized', freeCharging(), async (world) => {
      await online(world);
      world.csms.answer('Authorize', { status: 'Invalid', delayMs: 500 });
      await charge(world, 'A');
      assert.equal((await payloadOf(world.csms, 'StopTransaction')).reason, 'DeAuthorized');
    });

    systemTest('the session of another is left alone', freeCharging(), async (world) => {
      await online(world);
      world.csms.answer('Authorize', { status: 'Invalid', delayMs: 1200 });
      await charge(world, 'A');
      await leave(world, 'A');
      await charge(world, 'B');
      await world.secc.waitForLine('[1] Trying to deauthorize session B with unrelated ID tag: A', {
        timeoutMs: 4000,
      });
      await pause(QUIET_MS);
      assert.equal(world.station.connector.state, State.Charging);
    });
  },
  TOGETHER,
);

theme(
  'a tag and two backoffices',
  () => {
    function auxiliaryOnline(world) {
      const link = world.auxiliary.station(ID);
      // The heartbeat tells that the station has read its acceptance; before that it asks nobody.
      const isReady = () =>
        link.online && link.registration === 'Accepted' && world.auxiliary.calls('Heartbeat').length > 0;
      return world.auxiliary.waitFor(isReady, {
        timeoutMs: ONLINE_MS,
        what: 'the auxiliary backoffice to be online',
      });
    }

    systemTest(
      'both are asked, the refusal of the auxiliary does not count',
      options({}, { auxiliary: {} }),
      async (world) => {
        world.auxiliary.tags.set('A', { status: 'Invalid' });
        world.csms.answer('Authorize', { delayMs: 400 });
        await online(world);
        await auxiliaryOnline(world);
        await chargeWithTag(world, 'A');
        for (const system of [world.csms, world.auxiliary])
          assert.deepEqual(await payloadOf(system, 'Authorize'), { idTag: 'A' });
      },
    );

    systemTest(
      'both are asked, the approval of the auxiliary does not count either',
      options({}, { auxiliary: {} }),
      async (world) => {
        world.csms.tags.set('A', { status: 'Invalid' });
        world.csms.answer('Authorize', { delayMs: 400, status: 'Invalid' });
        await online(world);
        await auxiliaryOnline(world);
        world.station.plug();
        assert.equal(await presented(world, 'A'), false);
        assert.deepEqual(await payloadOf(world.auxiliary, 'Authorize'), { idTag: 'A' });
      },
    );

    systemTest(
      'the primary offline, the auxiliary online: decided as without a link, and the auxiliary is not asked',
      options({ AllowOfflineTxForUnknownId: false }, { auxiliary: {} }),
      async (world) => {
        await online(world);
        await auxiliaryOnline(world);
        await cutOff(world);
        world.station.plug();
        assert.equal(await presented(world, 'A'), false);
        await pause(QUIET_MS);
        assert.deepEqual(world.auxiliary.calls('Authorize'), []);
      },
    );

    systemTest(
      'the auxiliary alone: refused, and it is not asked',
      options(
        { AllowOfflineTxForUnknownId: true },
        { auxiliary: {}, primary: false, station: { needsApproval: false } },
      ),
      async (world) => {
        await world.start();
        await auxiliaryOnline(world);
        world.station.plug();
        assert.equal(await presented(world, 'A'), false);
        await pause(QUIET_MS);
        assert.deepEqual(world.auxiliary.calls('Authorize'), []);
      },
    );

    systemTest(
      'the auxiliary alone and free charging: it is asked after the fact, and its refusal does not count',
      freeCharging({}, { auxiliary: {}, primary: false, station: { autoAuthorize: true, needsApproval: false } }),
      async (world) => {
        world.auxiliary.tags.set('A', { status: 'Invalid' });
        // What it says to the start of a session does count when it is alone.
        world.auxiliary.answer('StartTransaction', { status: 'Accepted', times: 0 });
        await world.start();
        await auxiliaryOnline(world);
        await charge(world, 'A');
        await world.auxiliary.waitForCall('Authorize', { timeoutMs: 5000 });
        await pause(QUIET_MS);
        assert.equal(world.station.connector.state, State.Charging);
      },
    );
  },
  TOGETHER,
);
