// One table of commands behind three doors: a command line (REPL), a JSON interface over HTTP on loopback, and --help.
import http from 'node:http';
import readline from 'node:readline';

/**
 * @typedef {object} Command
 * @property {string} args the arguments as help shows them; a last one in the form `{json}` takes the rest of a line
 * @property {string} help one line
 * @property {(...args: any[]) => any} run may be async; its result is shown, or sent as JSON
 */

const MAX_BODY_BYTES = 4 * 1024 * 1024;

/** Cuts a command line into words; quotes hold blanks, and text from a `{` or `[` on is one JSON word to its end. */
export function splitLine(line) {
  const words = [];
  let rest = line.trim();
  while (rest.length > 0) {
    if (/^[{[]/.test(rest)) {
      words.push(JSON.parse(rest));
      break;
    }
    const match = /^"((?:[^"\\]|\\.)*)"|^'([^']*)'|^(\S+)/.exec(rest);
    words.push(match[1] !== undefined ? JSON.parse(`"${match[1]}"`) : (match[2] ?? match[3]));
    rest = rest.slice(match[0].length).trim();
  }
  return words;
}

export class CommandTable {
  /** @param {Record<string, Command>} commands */
  constructor(commands) {
    this.commands = commands;
  }

  help() {
    const rows = Object.entries(this.commands).map(([name, { args, help }]) => [`${name} ${args}`.trim(), help]);
    const width = Math.max(...rows.map(([left]) => left.length));
    return rows.map(([left, right]) => `  ${left.padEnd(width)}  ${right}`).join('\n');
  }

  async run(name, ...args) {
    if (name === 'help') return this.help();
    const command = Object.hasOwn(this.commands, name) ? this.commands[name] : null;
    if (!command) throw new Error(`unknown command "${name}", try "help"`);
    return command.run(...args);
  }

  runLine(line) {
    return this.run(...splitLine(line));
  }
}

function show(result) {
  if (result === undefined) return 'ok';
  return typeof result === 'string' ? result : JSON.stringify(result, null, 2);
}

/** Reads commands from `input` until it ends or "quit" comes; resolves then. */
export async function runRepl(table, { input = process.stdin, output = process.stdout, prompt = '> ' } = {}) {
  const lines = readline.createInterface({ input, output, prompt, terminal: Boolean(input.isTTY) });
  const asking = input.isTTY;
  if (asking) lines.prompt();
  for await (const line of lines) {
    if (line.trim() === 'quit') break;
    if (line.trim().length > 0) {
      try {
        output.write(`${show(await table.runLine(line))}\n`);
      } catch (error) {
        output.write(`error: ${error.message}\n`);
      }
    }
    if (asking) lines.prompt();
  }
  lines.close();
}

async function readBody(request) {
  const chunks = [];
  let size = 0;
  for await (const chunk of request) {
    size += chunk.length;
    if (size > MAX_BODY_BYTES) throw new Error('request is too large');
    chunks.push(chunk);
  }
  const text = Buffer.concat(chunks).toString('utf8');
  return text.length > 0 ? JSON.parse(text) : {};
}

function reply(response, status, body) {
  response.writeHead(status, { 'Content-Type': 'application/json' });
  response.end(`${JSON.stringify(body)}\n`);
}

/**
 * The JSON interface: GET / lists the commands; POST /<command> with {"args": [...]} runs one and answers
 * {"ok": true, "result": ...} or {"ok": false, "error": "..."}. Listens on 127.0.0.1 only.
 * @returns {Promise<{port: number, close: () => Promise<void>}>}
 */
export async function serveCommands(table, { port = 0 } = {}) {
  const server = http.createServer(async (request, response) => {
    // A page in a browser on the same machine must not drive this: only plain clients, which send no Origin.
    if (request.headers.origin !== undefined) return reply(response, 403, { ok: false, error: 'not for web pages' });
    const name = decodeURIComponent(request.url.slice(1));
    if (request.method === 'GET' && name === '') {
      const commands = Object.entries(table.commands).map(([command, { args, help }]) => ({ command, args, help }));
      return reply(response, 200, { ok: true, result: commands });
    }
    if (request.method !== 'POST') return reply(response, 405, { ok: false, error: 'POST a command' });
    try {
      const { args = [] } = await readBody(request);
      return reply(response, 200, { ok: true, result: (await table.run(name, ...args)) ?? null });
    } catch (error) {
      return reply(response, 400, { ok: false, error: error.message });
    }
  });
  await new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', resolve);
  });
  return {
    port: server.address().port,
    close: () =>
      new Promise((resolve) => {
        server.close(resolve);
        server.closeAllConnections();
      }),
  };
}
