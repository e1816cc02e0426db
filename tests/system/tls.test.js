// Servers that a station must not talk to: the handshake ends, and not one byte of HTTP (so no password) leaves the
// station, which tries again all the same.
import path from 'node:path';
import { Authority, TlsOnlyServer } from './lib/tlsserver.js';
import { assert, ONLINE_MS, systemTest, theme } from './lib/world.js';

const DAY_MS = 24 * 3600 * 1000;
// A station returns after 3 to 5 seconds.
const AGAIN_MS = 8000;

/** Starts the world's station against a server of the test's own; gives the server. */
async function startAgainst(world, makeOptions) {
  const authority = new Authority(path.join(world.folder, 'authority'));
  const server = await new TlsOnlyServer(makeOptions(authority)).start();
  world.atEnd(() => server.stop());
  world.root.trust(authority.rootFile);
  world.root.setDefaults('settings', { SeccOcppUri: `localhost:${server.port}/ocpp` });
  await world.start();
  return server;
}

async function isRefusedAndTriedAgain(world, server) {
  await server.waitFor(() => server.failures.length > 0, { timeoutMs: ONLINE_MS, what: 'a failed handshake' });
  await server.waitFor(() => server.failures.length > 1, { timeoutMs: AGAIN_MS, what: 'a second try' });
  assert.equal(server.connections, server.failures.length, 'no handshake succeeded');
  assert.equal(server.decrypted, '');
}

/** The parts of the certificate refusals in the log so far: depth, text, number. */
function refusals(world) {
  const line = /\[Cpo Backoffice\] TLS certificate verification failed\. Depth: (\d+), error message: (.+) \((\d+)\)$/;
  return world.secc.lines.flatMap((text) => {
    const match = line.exec(text);
    return match ? [{ depth: Number(match[1]), text: match[2], number: Number(match[3]) }] : [];
  });
}

const REFUSED = {
  'an expired certificate': {
    number: 14,
    make: (authority) =>
      authority.issue({
        name: 'expired',
        from: new Date(Date.now() - 30 * DAY_MS),
        until: new Date(Date.now() - DAY_MS),
      }),
  },
  'a certificate that is not yet valid': {
    number: 13,
    make: (authority) =>
      authority.issue({
        name: 'early',
        from: new Date(Date.now() + DAY_MS),
        until: new Date(Date.now() + 30 * DAY_MS),
      }),
  },
  'a chain that lacks its intermediate certificate': {
    number: 20,
    make: (authority) => {
      authority.issue({ name: 'between', kind: 'authority' });
      return authority.issue({ name: 'leaf', issuer: 'between' });
    },
  },
};

theme(
  'servers that are refused in the handshake',
  () => {
    for (const [what, { number, make }] of Object.entries(REFUSED)) {
      systemTest(`${what}: no byte of HTTP leaves the station, which tries again`, {}, async (world) => {
        const server = await startAgainst(world, make);
        await isRefusedAndTriedAgain(world, server);
        const seen = refusals(world);
        assert.ok(seen.length >= 1, 'the refusal stands in the log');
        for (const refusal of seen) {
          assert.equal(refusal.depth, 0);
          assert.equal(refusal.number, number, refusal.text);
        }
      });
    }

    systemTest(
      'a server of TLS 1.1 alone: no byte of HTTP leaves the station, which tries again',
      {},
      async (world) => {
        const server = await startAgainst(world, (authority) => ({
          ...authority.issue({ name: 'old' }),
          minVersion: 'TLSv1',
          maxVersion: 'TLSv1.1',
          ciphers: 'DEFAULT:@SECLEVEL=0',
        }));
        await isRefusedAndTriedAgain(world, server);
        assert.ok(
          server.failures.every((code) => /UNSUPPORTED_PROTOCOL|VERSION/.test(code)),
          server.failures.join(),
        );
        await world.secc.waitForLine(/\[Cpo Backoffice\] Opening connection failed: .*TLS/);
        assert.deepEqual(refusals(world), []);
      },
    );

    systemTest(
      'with its intermediate certificate the same chain is trusted, and the upgrade is asked for',
      {},
      async (world) => {
        const server = await startAgainst(world, (authority) => {
          const between = authority.issue({ name: 'between', kind: 'authority' });
          const leaf = authority.issue({ name: 'leaf', issuer: 'between' });
          return { cert: Buffer.concat([leaf.cert, between.cert]), key: leaf.key };
        });
        await server.waitFor(() => server.decrypted.includes('\r\n\r\n'), {
          timeoutMs: ONLINE_MS,
          what: 'the HTTP request',
        });
        assert.match(server.decrypted, /^GET \/ocpp\/CP-1 HTTP\/1\.1\r\n/);
        assert.match(server.decrypted, /\r\nAuthorization: Basic /);
      },
    );
  },
  { concurrency: 5 },
);
