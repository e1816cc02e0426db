// The one table that is printed at the end.

export const perSecond = (value) => `${Math.round(value).toLocaleString('en')}/s`;
export const microseconds = (value) => `${value.toFixed(value < 10 ? 2 : 0)} µs`;
export const milliseconds = (value) => `${value.toFixed(0)} ms`;
export const megabytes = (bytes) => `${(bytes / 1024 / 1024).toFixed(2)} MB`;

/** The value below which this share of the values lies; the median by default. */
export function quantile(values, share = 0.5) {
  const sorted = [...values].sort((one, other) => one - other);
  return sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * share))];
}

/** A limit of the ratio: what it says, and whether a row meets it. */
export const atMost = (limit) => ({ text: `at most ${limit}`, isMet: ({ ratio }) => ratio <= limit });
export const atLeast = (limit) => ({ text: `at least ${limit}`, isMet: ({ ratio }) => ratio >= limit });
/** A limit of the measured value itself, whatever its baseline; `write` gives it with its unit. */
export const below = (limit, write) => ({
  text: `under ${write(limit)}`,
  isMet: ({ measured }) => measured < limit,
});

export class Table {
  #rows = [];

  /**
   * @param {string} what      what is measured / its baseline
   * @param {number} measured
   * @param {number} baseline  of the same run
   * @param {(value: number) => string} write  gives both with their unit
   * @param {{text: string, isMet: (row: {measured: number, ratio: number}) => boolean}} [aim]
   */
  add(what, measured, baseline, write, aim = null) {
    const ratio = measured / baseline;
    const verdict = aim === null ? ['', ''] : [aim.text, aim.isMet({ measured, ratio }) ? 'met' : 'NOT MET'];
    this.#rows.push([what, write(measured), write(baseline), ratio.toFixed(2), ...verdict]);
  }

  toString() {
    const rows = [['What / baseline', 'Measured', 'Baseline', 'Ratio', 'Aim', ''], ...this.#rows];
    const widths = rows[0].map((_, column) => Math.max(...rows.map((row) => row[column].length)));
    const line = (row) =>
      `| ${row.map((cell, column) => (column ? cell.padStart(widths[column]) : cell.padEnd(widths[0]))).join(' | ')} |`;
    const rule = `|${widths.map((width, column) => `${'-'.repeat(width + 1)}${column ? ':' : '-'}`).join('|')}|`;
    return [line(rows[0]), rule, ...rows.slice(1).map(line)].join('\n');
  }
}
