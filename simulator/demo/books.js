// The account book at the end of the story, as the operator would read it.

const COLUMNS = [
  ['transaction', ({ transactionId }) => transactionId],
  ['tag', ({ idTag }) => idTag],
  ['from', ({ started }) => started],
  ['to', ({ stopped }) => stopped ?? 'open'],
  ['energy', ({ energyWh }) => (energyWh === null ? '?' : `${energyWh} Wh`)],
  ['values', ({ samples }) => samples],
  ['reason', ({ reason }) => reason ?? ''],
];

/** The sessions as the lines of a table. */
export function tableOf(sessions) {
  const rows = [
    COLUMNS.map(([title]) => title),
    ...sessions.map((session) => COLUMNS.map(([, read]) => String(read(session)))),
  ];
  const widths = COLUMNS.map((_, column) => Math.max(...rows.map((row) => row[column].length)));
  const lines = rows.map((row) =>
    row
      .map((cell, column) => cell.padEnd(widths[column]))
      .join('  ')
      .trimEnd(),
  );
  lines.splice(1, 0, widths.map((width) => '-'.repeat(width)).join('  '));
  return lines;
}

/**
 * Prints the book and says whether it adds up.
 * @param {{station: string, idTag: string}[]} expected the sessions that took place, in order
 */
export function closeBooks(story, system, expected) {
  story.chapter("The operator's account book");
  const { sessions, problems } = system.book.check();
  story.show(tableOf(sessions));
  for (const { rule, text, transactionId } of problems) story.show([`${rule}: ${text} (transaction ${transactionId})`]);
  const tags = sessions.map(({ idTag }) => idTag);
  story.expect(
    tags.join() === expected.join(),
    `${expected.length} sessions took place, and ${sessions.length} are in the book: ${tags.join(', ') || 'none'}.`,
  );
  story.expect(system.book.repeats.length === 0, `Every message came once (${system.book.repeats.length} came again).`);
  story.expect(
    problems.length === 0,
    problems.length === 0
      ? 'The book balances: each session is billed once, values and times ascend, ids match, the order is right.'
      : `The book does not balance: ${problems.length} problem(s).`,
  );
}
