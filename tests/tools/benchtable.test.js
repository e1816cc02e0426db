// The table of the benchmarks: a limit of the ratio, and one of the measured value itself.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { atLeast, atMost, below, milliseconds, Table } from '../bench/table.js';

const ROWS = [
  [99.4, 1, below(100, milliseconds), 'under 100 ms', 'met'],
  [100, 1000, below(100, milliseconds), 'under 100 ms', 'NOT MET'],
  [300, 200, atMost(1.5), 'at most 1.5', 'met'],
  [301, 200, atMost(1.5), 'at most 1.5', 'NOT MET'],
  [140, 200, atLeast(0.7), 'at least 0.7', 'met'],
  [139, 200, atLeast(0.7), 'at least 0.7', 'NOT MET'],
];

for (const [measured, baseline, aim, text, verdict] of ROWS) {
  test(`${measured} ms beside ${baseline} ms, ${text}: ${verdict}`, () => {
    const table = new Table();
    table.add('a row', measured, baseline, milliseconds, aim);
    const cells = `${table}`
      .split('\n')
      .at(-1)
      .split('|')
      .map((cell) => cell.trim());
    assert.deepEqual(cells.slice(-3, -1), [text, verdict]);
  });
}
