// Command line options of the programs: Node's parser, with a table that also makes the help text.
import { parseArgs } from 'node:util';

/**
 * @param {Record<string, {type: 'string'|'boolean', value?: string, help: string, multiple?: boolean, default?: any}>} table
 * @returns the values, or null when --help was asked for (the text has been printed then)
 */
export function readOptions(table, { usage, footer = '' }) {
  const options = { ...table, help: { type: 'boolean', help: 'show this text and end' } };
  const config = Object.fromEntries(
    Object.entries(options).map(([name, { type, multiple = false }]) => [name, { type, multiple }]),
  );
  let values;
  try {
    ({ values } = parseArgs({ options: config }));
  } catch (error) {
    process.stderr.write(`${error.message}\nTry --help.\n`);
    process.exit(2);
  }
  if (values.help) {
    process.stdout.write(`${usage}\n\n${optionsText(options)}\n${footer}`);
    return null;
  }
  const defaults = Object.fromEntries(
    Object.entries(table)
      .filter(([, entry]) => entry.default !== undefined)
      .map(([name, entry]) => [name, entry.default]),
  );
  return { ...defaults, ...values };
}

function optionsText(options) {
  const rows = Object.entries(options).map(([name, { value, help, default: fallback }]) => [
    `--${name}${value ? ` ${value}` : ''}`,
    `${help}${fallback !== undefined ? ` (default ${fallback})` : ''}`,
  ]);
  const width = Math.max(...rows.map(([left]) => left.length));
  return rows.map(([left, right]) => `  ${left.padEnd(width)}  ${right}`).join('\n');
}
