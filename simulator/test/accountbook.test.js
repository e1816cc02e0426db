import assert from 'node:assert/strict';
import { test } from 'node:test';
import { AccountBook } from '../csms/accountbook.js';

const at = (seconds) => new Date(Date.UTC(2030, 0, 1, 10, 0, seconds)).toISOString().replace('.000', '');
const start = (seconds, meterStart, more = {}) => ({
  connectorId: 1,
  idTag: 'TAG',
  meterStart,
  timestamp: at(seconds),
  ...more,
});
const stop = (transactionId, seconds, meterStop, more = {}) => ({
  transactionId,
  meterStop,
  timestamp: at(seconds),
  idTag: 'TAG',
  ...more,
});
const values = (transactionId, seconds, energyWh, more = {}) => ({
  connectorId: 1,
  transactionId,
  ...more,
  meterValue: [
    {
      timestamp: at(seconds),
      sampledValue: [
        { value: '16.0', measurand: 'Current.Import', unit: 'A' },
        { value: String(energyWh), measurand: 'Energy.Active.Import.Register', unit: 'Wh' },
      ],
    },
  ],
});

function rules(book, options) {
  return book.check(options).problems.map(({ rule }) => rule);
}

test('a session with start, ascending values and stop balances', () => {
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 100));
  book.meterValues('CP1', 'm2', values(id, 5, 110));
  book.meterValues('CP1', 'm3', values(id, 10, 120));
  book.stop('CP1', 'm4', stop(id, 12, 125));
  const { balanced, sessions } = book.check();
  assert.equal(balanced, true);
  assert.deepEqual([sessions[0].energyWh, sessions[0].samples, sessions[0].transactionId], [25, 2, 1001]);
});

test('a repeat under the same message id is booked once and gets the same transaction id', () => {
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 100));
  assert.equal(book.start('CP1', 'm1', start(0, 100)), id);
  book.answered('CP1', 'm1');
  book.stop('CP1', 'm2', stop(-1, 12, 125));
  book.start('CP1', 'm1', start(0, 100));
  assert.equal(book.sessions.size, 1);
  assert.deepEqual(
    book.repeats.map(({ answered }) => answered),
    [false, true],
  );
});

test('a repeat may have learned its transaction id, but nothing else may differ', () => {
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 100));
  book.stop('CP1', 'm2', stop(id, 12, 125));
  book.stop('CP1', 'm2', stop(-1, 12, 125));
  assert.deepEqual(rules(book), []);
  book.stop('CP1', 'm2', stop(id, 12, 126));
  assert.deepEqual(rules(book), ['message-id']);
});

test('one session under two message ids is billed twice', () => {
  const book = new AccountBook();
  const first = book.start('CP1', 'm1', start(0, 100));
  book.stop('CP1', 'm2', stop(first, 5, 110));
  const second = book.start('CP1', 'm3', start(0, 100));
  book.stop('CP1', 'm4', stop(second, 5, 110));
  assert.ok(rules(book).includes('billed-once'));
});

test('a session stopped under two message ids is a fault, and so is one never stopped', () => {
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 100));
  assert.deepEqual(rules(book), ['billed-once']);
  assert.deepEqual(rules(book, { allowOpen: true }), []);
  book.stop('CP1', 'm2', stop(id, 5, 110));
  book.stop('CP1', 'm3', stop(id, 5, 110));
  assert.deepEqual(rules(book), ['billed-once']);
});

test('a stop or a value for an id that was never given out is a fault', () => {
  const book = new AccountBook();
  book.stop('CP1', 'm1', stop(-1, 5, 110));
  book.meterValues('CP1', 'm2', values(4711, 5, 110));
  assert.deepEqual(rules(book), ['id-known', 'id-known']);
});

test('a transaction of another station or another connector is a fault', () => {
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 100));
  book.meterValues('CP2', 'm2', values(id, 5, 110));
  book.meterValues('CP1', 'm3', { ...values(id, 5, 110), connectorId: 2 });
  assert.deepEqual(rules(book, { allowOpen: true }), ['id-known', 'id-known']);
});

test('energy and time must ascend, within a session and from one to the next', () => {
  const book = new AccountBook();
  const first = book.start('CP1', 'm1', start(0, 100));
  book.meterValues('CP1', 'm2', values(first, 5, 120));
  book.meterValues('CP1', 'm3', values(first, 4, 110));
  book.stop('CP1', 'm4', stop(first, 12, 125));
  assert.deepEqual(rules(book).sort(), ['ascending', 'time']);
  const second = book.start('CP1', 'm5', start(11, 124));
  book.stop('CP1', 'm6', stop(second, 20, 130));
  assert.deepEqual(rules(book).sort(), ['ascending', 'ascending', 'time', 'time']);
});

test('values behind the stop, and a start ahead of the stop of the session before, are out of order', () => {
  const book = new AccountBook();
  const first = book.start('CP1', 'm1', start(0, 100));
  book.stop('CP1', 'm2', stop(first, 5, 110));
  book.meterValues('CP1', 'm3', values(first, 5, 110));
  assert.ok(rules(book).includes('order'));
  const other = new AccountBook();
  const one = other.start('CP1', 'm1', start(0, 100));
  const two = other.start('CP1', 'm2', start(10, 110));
  other.stop('CP1', 'm3', stop(one, 5, 110));
  other.stop('CP1', 'm4', stop(two, 15, 120));
  assert.deepEqual(rules(other), ['order']);
});

test('transaction data must agree with meterStart and meterStop, and kWh count as a thousand Wh', () => {
  const data = (begin, end, unit = 'Wh') => [
    {
      timestamp: at(0),
      sampledValue: [
        { value: String(begin), context: 'Transaction.Begin', measurand: 'Energy.Active.Import.Register', unit },
      ],
    },
    {
      timestamp: at(5),
      sampledValue: [
        { value: String(end), context: 'Transaction.End', measurand: 'Energy.Active.Import.Register', unit },
        { value: 'signed', context: 'Transaction.End', format: 'SignedData' },
      ],
    },
  ];
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 1000));
  book.stop('CP1', 'm2', stop(id, 5, 2000, { transactionData: data(1, 2, 'kWh') }));
  assert.deepEqual(rules(book), []);
  const wrong = new AccountBook();
  const other = wrong.start('CP1', 'm1', start(0, 1000));
  wrong.stop('CP1', 'm2', stop(other, 5, 2000, { transactionData: data(1000, 1999) }));
  assert.deepEqual(rules(wrong), ['transaction-data']);
});

test('a stop by another tag shows, a stop without a tag does not', () => {
  const book = new AccountBook();
  const id = book.start('CP1', 'm1', start(0, 100));
  book.stop('CP1', 'm2', stop(id, 5, 110, { idTag: 'OTHER' }));
  assert.deepEqual(rules(book), ['tag']);
});

test('values outside of a session are kept apart', () => {
  const book = new AccountBook();
  book.meterValues('CP1', 'm1', { ...values(undefined, 5, 110), transactionId: undefined });
  assert.equal(book.looseSamples.length, 1);
  assert.deepEqual(rules(book), []);
});
