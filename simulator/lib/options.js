// Command line options of the programs: Node's parser, with a table that also makes the help text and reads the values.
import { parseArgs } from 'node:util';

/**
 * @param {Record<string, {type: 'string'|'boolean', value?: string, help: string, multiple?: boolean, default?: any,
 *   read?: (text: string) => any}>} table `read` makes a value of its text, or throws what was expected in place of it
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
    refuse(error.message);
  }
  if (values.help) {
    process.stdout.write(`${usage}\n\n${optionsText(options)}\n${footer}`);
    return null;
  }
  return Object.fromEntries(
    Object.entries(table)
      .map(([name, { read, default: fallback }]) => [name, valueOf(name, values[name] ?? fallback, read)])
      .filter(([, value]) => value !== undefined),
  );
}

/** Ends the program because of its command line, which it says in one line. */
export function refuse(text) {
  process.stderr.write(`${text.replaceAll('\n', ' ').replace(/\.?$/, '.')} Try --help.\n`);
  process.exit(2);
}

function valueOf(name, text, read) {
  if (text === undefined || !read) return text;
  if (Array.isArray(text)) return text.map((one) => valueOf(name, one, read));
  try {
    return read(text);
  } catch (error) {
    return refuse(`--${name} "${text}": ${error.message} expected`);
  }
}

// ---- what reads a value

/** A number in decimal digits; `what` says to the user which. */
export function readNumber(what, { most = Infinity, isWhole = true } = {}) {
  const form = isWhole ? /^\d+$/ : /^\d+(\.\d+)?$/;
  return (text) => {
    if (!form.test(text) || Number(text) > most) throw new Error(what);
    return Number(text);
  };
}

export const readPort = readNumber('a TCP port (0 to 65535)', { most: 65535 });

export function readHex(text) {
  if (!/^[0-9a-fA-F]+$/.test(text)) throw new Error('hexadecimal digits');
  return text;
}
function optionsText(options) {
  const rows = Object.entries(options).map(([name, { value, help, default: fallback }]) => [
    `--${name}${value ? ` ${value}` : ''}`,
    `${help}${fallback !== undefined ? ` (default ${fallback})` : ''}`,
  ]);
  const width = Math.max(...rows.map(([left]) => left.length));
  return rows.map(([left, right]) => `  ${left.padEnd(width)}  ${right}`).join('\n');
}
