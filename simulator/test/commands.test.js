import assert from 'node:assert/strict';
import http from 'node:http';
import { PassThrough } from 'node:stream';
import { test } from 'node:test';
import { CommandTable, runRepl, serveCommands, splitLine } from '../lib/commands.js';

const table = new CommandTable({
  add: { args: '<a> <b>', help: 'adds', run: (a, b) => Number(a) + Number(b) },
  echo: { args: '[{json}]', help: 'gives it back', run: (value) => value },
  fail: {
    args: '',
    help: 'fails',
    run: () => {
      throw new Error('as told');
    },
  },
});

function request(port, method, path, body, headers = {}) {
  return new Promise((resolve, reject) => {
    const sent = http.request({ host: '127.0.0.1', port, method, path, headers }, (response) => {
      let text = '';
      response.on('data', (chunk) => {
        text += chunk;
      });
      response.on('end', () => resolve({ status: response.statusCode, body: JSON.parse(text) }));
    });
    sent.on('error', reject);
    sent.end(body);
  });
}

test('a line is cut into words, quoted texts and one JSON value at its end', () => {
  assert.deepEqual(splitLine('call CP1  "two words" \'three more words\' {"a": [1, 2]}'), [
    'call',
    'CP1',
    'two words',
    'three more words',
    { a: [1, 2] },
  ]);
  assert.deepEqual(splitLine('answer X [{"status": "Blocked"}]'), ['answer', 'X', [{ status: 'Blocked' }]]);
  assert.deepEqual(splitLine('  '), []);
  assert.throws(() => splitLine('x {"a":'));
});

test('the command line runs commands, shows errors and ends with quit', async () => {
  const input = new PassThrough();
  const output = new PassThrough();
  const done = runRepl(table, { input, output });
  input.write('add 1 2\nfail\nnonsense\n\nadd "1" 4\nquit\nadd 9 9\n');
  await done;
  assert.deepEqual(String(output.read()).trim().split('\n'), [
    '3',
    'error: as told',
    'error: unknown command "nonsense", try "help"',
    '5',
  ]);
});

test('the JSON interface runs commands on loopback and refuses web pages', async (t) => {
  const server = await serveCommands(table);
  t.after(() => server.close());
  assert.deepEqual(await request(server.port, 'POST', '/add', '{"args": [1, 2]}'), {
    status: 200,
    body: { ok: true, result: 3 },
  });
  assert.deepEqual(await request(server.port, 'POST', '/echo', ''), { status: 200, body: { ok: true, result: null } });
  assert.deepEqual(await request(server.port, 'POST', '/fail', '{}'), {
    status: 400,
    body: { ok: false, error: 'as told' },
  });
  assert.equal((await request(server.port, 'POST', '/toString', '{}')).status, 400);
  assert.equal((await request(server.port, 'POST', '/add', '{')).status, 400);
  assert.equal((await request(server.port, 'GET', '/add')).status, 405);
  assert.deepEqual(
    (await request(server.port, 'GET', '/')).body.result.map(({ command }) => command),
    ['add', 'echo', 'fail'],
  );
  assert.equal((await request(server.port, 'POST', '/add', '{}', { origin: 'http://evil.example' })).status, 403);
});
