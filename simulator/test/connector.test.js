import assert from 'node:assert/strict';
import { test } from 'node:test';
import { ManualClock } from '../lib/clock.js';
import { Connector, State, StopReason } from '../station/connector.js';

/** A connector on a clock of its own; what it tells is collected as texts. */
function make(options = {}) {
  const clock = new ManualClock();
  const connector = new Connector({
    clock,
    times: { startingMs: 100, stoppingMs: 100, connectionMs: 1000, authorizeMs: 500 },
    ...options,
  });
  connector.setApproved(true);
  const told = [];
  const requests = [];
  const nameOf = (state) => Object.keys(State).find((name) => State[name] === state);
  connector.on('state', (state) => told.push(nameOf(state)));
  connector.on('started', ({ idTag }) => told.push(`started ${idTag}`));
  connector.on('stopped', ({ reason, idTag }) => told.push(`stopped ${idTag} ${Object.keys(StopReason)[reason]}`));
  connector.on('flow', (flows) => told.push(flows ? 'flow' : 'no flow'));
  connector.on('unlocked', () => told.push('unlocked'));
  connector.on('feedback', (text) => told.push(text));
  connector.on('authorize', (request) => requests.push(request));
  const approve = (more = {}) =>
    connector.answer({ requestId: requests.at(-1).requestId, approved: true, token: requests.at(-1).token, ...more });
  return { clock, connector, told, requests, approve };
}

/** One that charges for tag A. */
function charging(options) {
  const parts = make(options);
  parts.connector.plug();
  parts.connector.tag('A');
  parts.approve({ parentId: 'G' });
  parts.clock.advance(100);
  assert.equal(parts.connector.state, State.Charging);
  parts.told.length = 0;
  return parts;
}

test('plug, tag, charge, tag, unplug', () => {
  const { clock, connector, told, approve } = make();
  connector.plug();
  assert.equal(connector.tag('A'), 'waiting');
  approve();
  assert.equal(connector.idTag, 'A');
  clock.advance(100);
  assert.equal(connector.tag('a'), 'stopped', 'tags are not case-sensitive');
  assert.equal(connector.idTag, 'A', 'the tag is known until its user has gone');
  clock.advance(100);
  connector.unplug();
  assert.equal(connector.idTag, '');
  assert.deepEqual(told, [
    'PreparingPluggedIn',
    'AuthSuccess',
    'Starting',
    'started A',
    'Charging',
    'flow',
    'no flow',
    'Stopping',
    'stopped A Local',
    'Finishing',
    'Available',
  ]);
});

test('tag first: an approved user waits for the plug, and is forgotten when it does not come', () => {
  const { clock, connector, told, approve } = make();
  connector.tag('A');
  approve();
  assert.equal(connector.state, State.PreparingAuthorized);
  clock.advance(1000);
  assert.equal(connector.state, State.Available);
  connector.tag('A');
  approve();
  connector.plug();
  clock.advance(100);
  assert.equal(connector.state, State.Charging);
  assert.equal(told.filter((text) => text.startsWith('started')).length, 1);
});

test('the same tag again before the plug cancels', () => {
  const { connector, approve } = make();
  connector.tag('A');
  approve();
  assert.equal(connector.tag('A'), 'cancelled');
  assert.equal(connector.state, State.Available);
});

test('a refused answer and an answer that never comes leave the connector as it was', () => {
  const { clock, connector, told, requests } = make();
  connector.tag('A');
  assert.equal(connector.answer({ requestId: requests[0].requestId, approved: false, token: 'A' }), true);
  connector.tag('A');
  clock.advance(500);
  assert.equal(
    connector.answer({ requestId: requests[1].requestId, approved: true, token: 'A' }),
    false,
    'nobody waits any more',
  );
  assert.deepEqual(told, ['AuthFailure', 'AuthFailure']);
  assert.equal(connector.state, State.Available);
});

test('no session without approval of the central system, nor without storage', () => {
  const { connector, approve } = make();
  connector.setApproved(false);
  connector.plug();
  connector.tag('A');
  assert.equal(approve(), false);
  connector.setApproved(true);
  connector.setStorageAvailable(false);
  assert.equal(connector.tag('A'), 'no storage for transactions');
  assert.equal(connector.authorizeHandle(), '');
});

test('taking the cable out ends the session with EvDisconnected and frees the connector', () => {
  const { clock, connector, told } = charging();
  connector.unplug();
  clock.advance(100);
  assert.deepEqual(told, ['no flow', 'Stopping', 'stopped A EvDisconnected', 'Available']);
});

test('vehicle and station suspend and resume, the station counts first', () => {
  const { connector, told } = charging();
  connector.setEvReady(false);
  connector.setEvseReady(false);
  connector.setEvReady(true);
  connector.setEvseReady(true);
  assert.deepEqual(told, ['SuspendedByEv', 'no flow', 'SuspendedByEvse', 'no flow', 'Charging', 'flow']);
});

test('a vehicle that is not ready starts suspended', () => {
  const { clock, connector, approve } = make();
  connector.setEvReady(false);
  connector.plug();
  connector.tag('A');
  approve();
  clock.advance(100);
  assert.equal(connector.state, State.SuspendedByEv);
});

const DEAUTHORIZED = [
  [1, 'DeAuthorized'],
  [3, 'Remote'],
  [4, 'UnlockCommand'],
  [5, 'HardReset'],
  [6, 'SoftReset'],
  [9, 'DeAuthorized'],
  [77, 'DeAuthorized'],
];
for (const [reason, text] of DEAUTHORIZED) {
  test(`withdrawn authorization ${reason} ends the session with ${text}`, () => {
    const { clock, connector, told } = charging();
    connector.deauthorize(reason);
    clock.advance(100);
    assert.equal(told[2], `stopped A ${text}`);
    assert.equal(told.includes('unlocked'), reason === 4);
    assert.equal(connector.state, State.Finishing);
  });
}

test('withdrawn authorization 2 stops the energy and leaves the session open until the cable is out', () => {
  const { clock, connector, told } = charging();
  connector.deauthorize(2);
  connector.setEvReady(false);
  assert.equal(connector.state, State.SuspendedByEvse);
  assert.equal(connector.idTag, 'A');
  connector.unplug();
  clock.advance(100);
  assert.deepEqual(told, [
    'SuspendedByEvse',
    'no flow',
    'no flow',
    'Stopping',
    'stopped A EvDisconnected',
    'Available',
  ]);
});

test('a withdrawn authorization without a session forgets the user', () => {
  const { connector, approve } = make();
  connector.tag('A');
  approve();
  connector.deauthorize(9);
  assert.equal(connector.state, State.Available);
  connector.deauthorize(1);
  assert.equal(connector.state, State.Available);
});

test('another tag of the same group ends the session, one of another group does not', () => {
  const { connector, told, approve } = charging();
  assert.equal(connector.tag('B'), 'waiting');
  assert.equal(approve({ parentId: 'H' }), true);
  assert.equal(connector.state, State.Charging);
  connector.tag('C');
  approve({ parentId: 'G' });
  assert.ok(told.includes('stopped A Local'));
});

/** One in Starting for tag A of group G. */
function starting(options) {
  const parts = make(options);
  parts.connector.plug();
  parts.connector.tag('A');
  if (!options?.autoAuthorize) parts.approve({ parentId: 'G' });
  assert.equal(parts.connector.state, State.Starting);
  parts.told.length = 0;
  return parts;
}

test('the same tag again while the session starts ends it before energy flows', () => {
  const { clock, connector, told } = starting();
  assert.equal(connector.tag('a'), 'stopped');
  clock.advance(100);
  clock.advance(100);
  assert.deepEqual(told, ['no flow', 'Stopping', 'stopped A Local', 'Finishing']);
});

test('another tag of the same group ends the session while it starts, one of another group does not', () => {
  const { clock, connector, told, approve } = starting();
  assert.equal(connector.tag('B'), 'waiting');
  assert.equal(approve({ parentId: 'H' }), true);
  assert.equal(connector.state, State.Starting);
  connector.tag('C');
  assert.equal(approve({ parentId: 'G' }), true);
  clock.advance(100);
  assert.deepEqual(told, ['AuthFailure', 'AuthSuccess', 'no flow', 'Stopping', 'stopped A Local', 'Finishing']);
});

test('a tag of the group that was presented for a session of its own does not end the one that starts', () => {
  const { connector, requests } = make();
  connector.plug();
  connector.tag('A');
  connector.tag('B');
  const answer = ({ requestId, token }) => connector.answer({ requestId, approved: true, token, parentId: 'G' });
  assert.equal(answer(requests[0]), true);
  assert.equal(answer(requests[1]), false);
  assert.equal(connector.state, State.Starting);
});

test('free charging does not hand a session that starts to another tag', () => {
  const { connector, requests } = starting({ autoAuthorize: true });
  assert.equal(connector.tag('B'), 'waiting');
  assert.equal(connector.idTag, 'A');
  assert.equal(requests.length, 1);
  assert.equal(connector.tag('A'), 'stopped');
});

test('a group that is set during the session counts', () => {
  const { connector, told, approve } = charging();
  connector.setParentId('NEW');
  connector.tag('C');
  approve({ parentId: 'NEW' });
  assert.ok(told.includes('stopped A Local'));
});

test('a remote start by a handle, and the states in which it is not possible', () => {
  const { clock, connector } = make();
  connector.plug();
  const handle = connector.authorizeHandle();
  assert.notEqual(handle, '');
  assert.equal(connector.answer({ requestId: 'unknown', approved: true, token: 'R' }), false);
  assert.equal(connector.answer({ requestId: handle, approved: true, token: 'R' }), true);
  clock.advance(100);
  assert.equal(connector.idTag, 'R');
  assert.equal(connector.authorizeHandle(), '');
});

test('out of service when idle at once, with a cable in when it has gone', () => {
  const { connector, told } = make();
  connector.setOperative(false);
  connector.setOperative(true);
  connector.plug();
  connector.setOperative(false);
  assert.equal(connector.state, State.PreparingPluggedIn);
  connector.unplug();
  assert.deepEqual(told, ['Unavailable', 'Available', 'PreparingPluggedIn', 'Unavailable']);
  assert.equal(connector.tag('A'), 'not possible in this state');
});

test('out of service during a session counts when the cable is out', () => {
  const { clock, connector } = charging();
  connector.setOperative(false);
  assert.equal(connector.state, State.Charging);
  connector.tag('A');
  clock.advance(100);
  assert.equal(connector.state, State.Finishing);
  connector.unplug();
  assert.equal(connector.state, State.Unavailable);
});

test('a fault ends the session, keeps the connector Faulted until the last is cleared', () => {
  const { clock, connector, told } = charging();
  connector.raiseFault(1001);
  connector.raiseFault(1000);
  clock.advance(100);
  assert.deepEqual(told, ['no flow', 'Stopping', 'stopped A Other', 'Faulted']);
  connector.clearFault(1001);
  assert.equal(connector.state, State.Faulted);
  connector.clearFault(1000);
  assert.equal(connector.state, State.PreparingPluggedIn);
});

test('a reserved connector serves its holder only, and is free again when the time is over', () => {
  const { clock, connector, approve } = make();
  assert.equal(connector.reserve({ idTag: 'R', id: 1, until: clock.now() + 5000 }), true);
  assert.equal(connector.state, State.Reserved);
  assert.equal(connector.tag('A'), 'reserved for another');
  assert.equal(connector.reserve({ idTag: 'S', id: 2, until: clock.now() + 5000 }), false);
  assert.equal(connector.tag('R'), 'waiting');
  clock.advance(400);
  clock.advance(4600);
  assert.equal(connector.state, State.Available);
  connector.reserve({ idTag: 'R', id: 3, until: clock.now() + 5000 });
  connector.tag('R');
  approve();
  assert.equal(connector.state, State.PreparingAuthorized);
});

test('a faulted connector keeps its reservation and takes none, also not the one that it has', () => {
  const { clock, connector } = make();
  const reservation = { idTag: 'R', id: 1, until: clock.now() + 5000 };
  connector.reserve(reservation);
  connector.raiseFault(1000);
  assert.equal(connector.reserve(reservation), false);
  assert.equal(connector.state, State.Faulted);
});

test('unlock is refused while charging and on a fixed cable', () => {
  assert.equal(charging().connector.unlock(), false);
  assert.equal(make({ fixedCable: true }).connector.unlock(), false);
  const { connector, told } = make();
  assert.equal(connector.unlock(), true);
  assert.deepEqual(told, ['unlocked']);
});

test('free charging lets everyone through and asks for a later check, if charging is approved', () => {
  const { connector } = make({ autoAuthorize: true });
  const checks = [];
  connector.on('authorized', ({ token }) => checks.push(token));
  connector.plug();
  connector.setApproved(false);
  assert.equal(connector.tag('A'), 'charging is not approved');
  connector.setApproved(true);
  assert.equal(connector.tag('A'), 'authorized');
  assert.deepEqual(checks, ['A']);
  assert.equal(connector.state, State.Starting);
});

test('a session survives a restart: it goes on through Starting and is not started again', () => {
  const before = charging();
  const { clock, connector, told } = make({ saved: JSON.parse(JSON.stringify(before.connector.save())) });
  assert.equal(connector.resume(), true);
  clock.advance(100);
  assert.deepEqual(told, ['Starting', 'Charging', 'flow']);
  assert.equal(connector.idTag, 'A');
  connector.unplug();
  assert.ok(told.includes('stopped A EvDisconnected'));
});

test('without a session a restart leaves availability and cable as they were', () => {
  const before = make();
  before.connector.setOperative(false);
  const { connector } = make({ saved: before.connector.save() });
  assert.equal(connector.state, State.Unavailable);
  assert.equal(connector.resume(), false);
});
