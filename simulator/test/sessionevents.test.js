import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { ManualClock } from '../lib/clock.js';
import { SessionEvents } from '../station/sessionevents.js';

const TIMES = { sureMs: 5000, lateMs: 400 };

let clock;
let sent;
let attended;
let presentTag;
let events;

function make(saved, times = {}) {
  return new SessionEvents({
    clock,
    times: { ...TIMES, ...times },
    saved,
    send: (notification) => sent.push(notification.session_started ? 'start' : 'stop'),
    isAttended: () => attended,
    presentTag: () => presentTag,
  });
}

beforeEach(() => {
  clock = new ManualClock();
  sent = [];
  attended = true;
  presentTag = 'A';
  events = make();
});

test('an event goes out at once when somebody takes it, and is taken once the stream has lasted', () => {
  events.started('A', {});
  assert.deepEqual(sent, ['start']);
  clock.advance(TIMES.sureMs - 1);
  assert.equal(events.pending, 1);
  clock.advance(1);
  assert.equal(events.pending, 0);
});

test('a stream that ends before that makes the event go out again; one that ends after it does not', () => {
  events.started('A', {});
  clock.advance(TIMES.sureMs - 1);
  events.lost();
  clock.advance(TIMES.sureMs);
  assert.equal(events.pending, 1);
  events.attend();
  assert.deepEqual(sent, ['start', 'start']);
  clock.advance(TIMES.sureMs);
  events.lost();
  events.attend();
  assert.deepEqual(sent, ['start', 'start']);
});

test('a process that was started anew hears of a running session, once', () => {
  events.started('A', {});
  clock.advance(TIMES.sureMs);
  assert.equal(events.restarted(), true);
  events.attend();
  assert.deepEqual(sent, ['start', 'start']);
  assert.equal(events.restarted(), true);
  events.attend();
  assert.deepEqual(sent, ['start', 'start', 'start']);
  events.stopped('A', {}, 4);
  clock.advance(TIMES.sureMs);
  assert.equal(events.restarted(), false);
  events.attend();
  assert.deepEqual(sent, ['start', 'start', 'start', 'stop']);
});

test('events of several sessions wait for one another, each with its identification', () => {
  attended = false;
  events.started('A', {});
  events.stopped('A', {}, 4);
  presentTag = 'B';
  events.started('B', {});
  attended = true;
  events.attend();
  assert.deepEqual([sent.length, events.lateTag], [1, 'A']);
  clock.advance(TIMES.lateMs);
  assert.deepEqual([sent.length, events.lateTag], [2, 'A']);
  clock.advance(TIMES.lateMs);
  assert.deepEqual([sent.length, events.lateTag], [3, null]);
  assert.deepEqual(sent, ['start', 'stop', 'start']);
});

test('an event may have its identification until secc asks for it', () => {
  events = make({}, { lateUntilAsked: true });
  attended = false;
  events.started('A', {});
  events.stopped('A', {}, 4);
  attended = true;
  presentTag = '';
  events.attend();
  assert.deepEqual([sent.length, events.lateTag], [1, 'A']);
  events.asked();
  assert.deepEqual([sent.length, events.lateTag], [2, 'A']);
  events.asked();
  assert.deepEqual([sent.length, events.lateTag], [2, null]);
});

test('a stream that ends in the middle of late events begins them anew, in order', () => {
  attended = false;
  events.started('A', {});
  events.stopped('A', {}, 4);
  attended = true;
  events.attend();
  events.lost();
  assert.equal(events.lateTag, null);
  clock.advance(TIMES.lateMs);
  assert.deepEqual(sent, ['start']);
  events.attend();
  clock.advance(TIMES.lateMs);
  assert.deepEqual(sent, ['start', 'start', 'stop']);
});

test('what is not surely taken survives a restart of the session manager', () => {
  events.started('A', { energy_register: 5 });
  const saved = JSON.parse(JSON.stringify(events.save()));
  events.close();
  events = make(saved);
  events.attend();
  assert.deepEqual(sent, ['start', 'start']);
});
