// The link under bad conditions: what the station must refuse, and from what it must recover.
import path from 'node:path';
import { ensureAuthority, issueServerCertificate } from '../../simulator/csms/certificates.js';
import { assert, ID, ONLINE_MS, PASSWORD, pause, systemTest, theme } from './lib/world.js';

/** Gives the central system a certificate of the test's own making; called before it starts. */
function presenting(make) {
  return (world) => {
    const folder = path.join(world.folder, 'own');
    const { certificateFile, keyFile } = make(folder);
    world.csms.options.tls = { cert: certificateFile, key: keyFile };
  };
}

const UNTRUSTED = {
  'of an unknown issuer': {
    text: /certificate/i,
    make: (folder) => issueServerCertificate({ folder, hosts: ['localhost'], authority: ensureAuthority(folder) }),
  },
  'that is self-signed': {
    text: /certificate/i,
    make: (folder) => issueServerCertificate({ folder, hosts: ['localhost'] }),
  },
};

theme('whom the station trusts', () => {
  for (const [what, { make }] of Object.entries(UNTRUSTED)) {
    systemTest(
      `a server certificate ${what} ends the handshake, and no credentials leave the station`,
      {},
      async (world) => {
        const trusted = world.csms;
        await trusted.stop();
        trusted.listener = null;
        presenting(make)(world);
        trusted.options.port = 0;
        await trusted.start();
        world.root.setDefaults('settings', { SeccOcppUri: trusted.uri });
        await world.start();
        await world.csms.waitFor(() => world.csms.tlsErrors.length > 0, {
          timeoutMs: ONLINE_MS,
          what: 'a failed handshake',
        });
        await world.secc.waitForLine('TLS certificate verification failed');
        assert.equal(world.csms.refusals.length, 0, 'no HTTP request came');
        assert.equal(world.link.connections.length, 0);
      },
    );
  }

  systemTest(
    'a server certificate for another host ends the handshake',
    { csms: { names: ['elsewhere.example'] }, uri: (csms) => `localhost:${csms.port}/ocpp` },
    async (world) => {
      await world.start();
      await world.secc.waitForLine('Failed to verify hostname from TLS certificate', { timeoutMs: ONLINE_MS });
      await world.csms.waitFor(() => world.csms.tlsErrors.length > 0, { timeoutMs: 5000, what: 'a failed handshake' });
      assert.equal(world.csms.refusals.length, 0, 'no HTTP request came');
      assert.equal(world.link.connections.length, 0);
    },
  );

  systemTest(
    'an address in the certificate serves as well as a name',
    { csms: { names: ['127.0.0.1'] } },
    async (world) => {
      await world.start();
      await world.online();
    },
  );

  systemTest(
    'with a wrong password the station keeps trying, and gets in once it is right',
    { csms: { stations: { [ID]: '0102' } }, timeoutMs: 60000 },
    async (world) => {
      await world.start();
      await world.csms.waitFor(() => world.csms.refusals.length > 0, { timeoutMs: ONLINE_MS, what: 'a refusal' });
      assert.equal(world.csms.refusals[0].status, 401);
      assert.equal(world.link.connections.length, 0);
      world.csms.passwords.set(ID, PASSWORD);
      await world.online();
    },
  );

  systemTest(
    'a password that is not hexadecimal is never sent',
    { settings: { secrets: { AuthorizationKey: 'no hex' } } },
    async (world) => {
      await world.start();
      await world.secc.waitForLine('BasicAuthPassword is not in the correct format. No connection will be made.', {
        timeoutMs: ONLINE_MS,
      });
      await world.never(() => world.csms.tcpConnections > 0, 3000, 'a connection');
    },
  );

  systemTest('neither the password nor the Authorization header stands in the log', {}, async (world) => {
    await world.start();
    await world.online();
    await world.interruptCleanly();
    world.allowEnded = true;
    const header = Buffer.concat([Buffer.from(`${ID}:`), Buffer.from(PASSWORD, 'hex')]).toString('base64');
    const log = world.secc.lines.join('\n');
    assert.ok(!log.includes(PASSWORD), 'the password is masked');
    assert.ok(!log.includes(header), 'the header is masked');
  });
});

const DOORS = {
  'resets the connection': { mode: 'reset', times: 1 },
  'answers 301': { mode: 'http', status: 301, headers: { Location: 'https://elsewhere.example/' }, times: 1 },
  'answers 404': { mode: 'http', status: 404, times: 1 },
  'answers 503': { mode: 'http', status: 503, headers: { 'Retry-After': '1' }, times: 1 },
  'accepts TCP and stays silent': { mode: 'silent', times: 1 },
};

theme('a door that does not open', () => {
  for (const [what, door] of Object.entries(DOORS)) {
    systemTest(`a central system that ${what} is tried again`, {}, async (world) => {
      world.csms.setDoor(door);
      await world.start();
      await world.online({ timeoutMs: 30000 });
      assert.ok(world.csms.tcpConnections >= 2);
    });
  }
});

theme('a link that breaks', () => {
  for (const code of [1000, 1001, 1002, 1003, 1007, 1008, 1009, 1011, 1012, 1013, 1014, 3000]) {
    systemTest(`the server closes with ${code}: the station returns`, {}, async (world) => {
      await world.start();
      await world.online();
      world.link.close(code, 'for a test');
      await world.csms.waitFor(() => world.link.connections.length === 2, {
        timeoutMs: 15000,
        what: 'the second connection',
      });
      await world.answers();
      assert.equal(world.boots().length, 1);
    });
  }

  systemTest('the server cuts the TCP connection: the station returns after 3 to 5 seconds', {}, async (world) => {
    await world.start();
    await world.online();
    world.link.terminate();
    await world.csms.waitFor(() => world.link.connections.length === 2, {
      timeoutMs: 15000,
      what: 'the second connection',
    });
    const [first, second] = world.link.connections;
    const gap = second.since - first.closed.time;
    assert.ok(gap >= 2900 && gap < 6500, `${gap} ms`);
  });

  systemTest('pings go out at their interval', { settings: { ocpp: { WebSocketPingInterval: 1 } } }, async (world) => {
    await world.start();
    await world.online();
    const { connection } = world.link;
    await pause(3500);
    assert.ok(connection.pings >= 3 && connection.pings <= 5, `${connection.pings} pings in 3.5 s`);
  });

  systemTest(
    'with a ping interval of 0 there are none',
    { settings: { ocpp: { WebSocketPingInterval: 0 } } },
    async (world) => {
      await world.start();
      await world.online();
      await pause(2000);
      assert.equal(world.link.connection.pings ?? 0, 0);
    },
  );

  systemTest(
    'a link that is dead in the middle is noticed by the missing pong and renewed',
    { settings: { ocpp: { WebSocketPingInterval: 1, WebSocketPongTimeout: 2 } } },
    async (world) => {
      await world.start();
      await world.online();
      world.link.freeze();
      await world.secc.waitForLine('OCPP Websocket pong timeout', { timeoutMs: 10000 });
      await world.csms.waitFor(() => world.link.connections.length === 2, {
        timeoutMs: 25000,
        what: 'a new connection',
      });
      await world.answers();
    },
  );
});
