import assert from 'node:assert/strict';
import { afterEach, beforeEach, test } from 'node:test';
import { AccountBook } from '../csms/accountbook.js';
import { closeBooks, tableOf } from '../demo/books.js';
import { describeFrames } from '../demo/frames.js';
import { Story } from '../demo/story.js';

let lines;
const { log } = console;

beforeEach(() => {
  lines = [];
  console.log = (text = '') => lines.push(...text.split('\n'));
});

afterEach(() => {
  console.log = log;
});

function frame(index, direction, kind, id, action, payload, more = {}) {
  return { index, time: Date.UTC(2030, 0, 1, 12, 0, index), direction, kind, id, action, payload, ...more };
}

function bookOf(sessions) {
  const book = new AccountBook();
  for (const [number, { idTag, from, to }] of sessions.entries()) {
    const timestamp = (minute) => `2030-01-01T12:${String(number * 10 + minute).padStart(2, '0')}:00Z`;
    const start = { connectorId: 1, idTag, meterStart: from, timestamp: timestamp(0) };
    const transactionId = book.start('S', `start${number}`, start);
    if (to !== null) {
      const stop = { transactionId, idTag, meterStop: to, timestamp: timestamp(5), reason: 'Local' };
      book.stop('S', `stop${number}`, stop);
    }
  }
  return book;
}

test('every call is a line with its answer, in order, and heartbeats are none', () => {
  const start = { connectorId: 1, idTag: 'A', meterStart: 5, timestamp: '2030-01-01T11:59:00Z' };
  const frames = [
    frame(0, 'in', 2, 'h', 'Heartbeat', {}),
    frame(1, 'out', 3, 'h', 'Heartbeat', { currentTime: 'x' }),
    frame(2, 'in', 2, 'a', 'StartTransaction', start),
    frame(3, 'out', 2, 'b', 'Reset', { type: 'Soft' }),
    frame(4, 'out', 3, 'a', 'StartTransaction', { transactionId: 7, idTagInfo: { status: 'Accepted' } }),
    frame(5, 'in', 4, 'b', 'Reset', undefined, { code: 'NotSupported' }),
    frame(6, 'in', 2, 'c', 'Authorize', { idTag: 'B' }),
  ];
  assert.deepEqual(describeFrames(frames), [
    '12:00:02 -> StartTransaction     A began at 11:59:00 with 5 Wh => transaction 7, Accepted',
    '12:00:03 <- Reset                 => NotSupported',
    '12:00:06 -> Authorize            may B charge? => no answer',
  ]);
});

test('registers are shown with the context that makes them more than a sample', () => {
  const sample = (context, value) => ({ timestamp: 't', sampledValue: [{ value, context }] });
  const meterValue = [sample('Sample.Periodic', '10')];
  const stop = {
    transactionId: 7,
    meterStop: 20,
    timestamp: '2030-01-01T12:30:00Z',
    reason: 'Local',
    transactionData: [sample('Transaction.Begin', '5'), sample('Transaction.End', '20')],
  };
  const [values, end] = describeFrames([
    frame(0, 'in', 2, 'a', 'MeterValues', { connectorId: 1, transactionId: 7, meterValue }),
    frame(1, 'in', 2, 'b', 'StopTransaction', stop),
  ]);
  assert.match(values, /transaction 7: 10 Wh/);
  assert.match(end, /ended at 12:30:00 with 20 Wh \(Local\); Transaction.Begin 5 Wh, Transaction.End 20 Wh/);
});

test('the table has a line for each session, also for one that is open', () => {
  const { sessions } = bookOf([
    { idTag: 'A', from: 0, to: 17 },
    { idTag: 'BB', from: 17, to: null },
  ]).check({ allowOpen: true });
  const [title, rule, first, second] = tableOf(sessions);
  assert.match(title, /^transaction +tag +from +to +energy +values +reason$/);
  assert.match(rule, /^[- ]+$/);
  assert.match(first, /^1001 +A +2030-01-01T12:00:00Z +2030-01-01T12:05:00Z +17 Wh +0 +Local$/);
  assert.match(second, /^1002 +BB +2030-01-01T12:10:00Z +open +\? +0$/);
});

test('books that balance end the story well', () => {
  const story = new Story();
  closeBooks(story, { book: bookOf([{ idTag: 'A', from: 0, to: 17 }]) }, ['A']);
  assert.equal(story.end(), 0);
  assert.ok(lines.some((line) => line.includes('The book balances')));
});

test('a session that is missing, one that is open, and a message that came twice end it badly', () => {
  const stories = [
    [bookOf([{ idTag: 'A', from: 0, to: 17 }]), ['A', 'B']],
    [bookOf([{ idTag: 'A', from: 0, to: null }]), ['A']],
    [bookOf([{ idTag: 'A', from: 9, to: 3 }]), ['A']],
  ];
  const twice = bookOf([{ idTag: 'A', from: 0, to: 17 }]);
  twice.stop('S', 'stop0', { transactionId: 1001, idTag: 'A', meterStop: 17, timestamp: 'x', reason: 'Local' });
  stories.push([twice, ['A']]);
  for (const [book, expected] of stories) {
    const story = new Story();
    closeBooks(story, { book }, expected);
    assert.equal(story.end(), 1);
  }
});
