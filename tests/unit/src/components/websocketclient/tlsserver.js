'use strict';
// A central system that does as it is told: TLS and websocket servers for the tests of the link, in one process.
// Commands come as one JSON object a line on standard input; what happens is told as one line each on standard output.
//
//   {"do":"listen","id":"a","kind":"tls","cert":"x.pem","key":"x.key", ...}   -> "a listening PORT"
//     port: 0 for any; kind: tls, silent (TCP accepted, nothing said), reset (TCP accepted and reset)
//     min, max: TLS versions; status, headers: the answer to the upgrade (101); protocol: the subprotocol accepted;
//     accept: the accept key; quiet: no answer to the upgrade; pong, answerClose: whether those frames are answered
//   {"do":"stop","id":"a"}                 -> "a stopped"
//   {"do":"stats","id":"a"}                -> "a stats tcp=N secure=N bytes=N"   bytes: decrypted bytes received
//   {"do":"text"|"binary","id":"a","size":N} or with "text":"..."
//   {"do":"raw","id":"a","hex":"..."}      bytes on the TLS connection
//   {"do":"close","id":"a","code":N,"reason":"..."}   without code: an empty close frame
//   {"do":"destroy","id":"a"}              ends TCP with a reset
//   {"do":"freeze","id":"a"}               reads and says nothing any more
// Commands on a connection go to the newest one of the server.

const crypto = require('crypto');
const fs = require('fs');
const net = require('net');
const readline = require('readline');
const tls = require('tls');

const servers = new Map();
const tell = (id, ...words) => process.stdout.write([id, ...words].join(' ') + '\n');

function frame(opcode, payload, fin = true) {
  const head = [(fin ? 0x80 : 0) | opcode];
  if (payload.length < 126) head.push(payload.length);
  else if (payload.length < 65536) head.push(126, payload.length >> 8, payload.length & 255);
  else
    head.push(
      127,
      0,
      0,
      0,
      0,
      (payload.length >>> 24) & 255,
      (payload.length >>> 16) & 255,
      (payload.length >>> 8) & 255,
      payload.length & 255,
    );
  return Buffer.concat([Buffer.from(head), payload]);
}

function upgrade(server, socket, head) {
  const { options } = server;
  const key = /sec-websocket-key: *(\S+)/i.exec(head);
  const status = options.status || 101;
  const lines = [`HTTP/1.1 ${status} ${status === 101 ? 'Switching Protocols' : 'Told so'}`];
  if (status === 101) {
    const accept = crypto
      .createHash('sha1')
      .update(key[1] + '258EAFA5-E914-47DA-95CA-C5AB0DC85B11')
      .digest('base64');
    lines.push('Upgrade: websocket', 'Connection: Upgrade', `Sec-WebSocket-Accept: ${options.accept || accept}`);
    const protocol = options.protocol === undefined ? 'ocpp1.6' : options.protocol;
    if (protocol) lines.push(`Sec-WebSocket-Protocol: ${protocol}`);
  } else {
    lines.push('Content-Length: 0');
  }
  socket.write([...lines, ...(options.headers || []), '', ''].join('\r\n'));
}

function takeFrames(server, socket, state) {
  for (;;) {
    const data = state.buffer;
    if (data.length < 2) return;
    let length = data[1] & 127;
    let offset = 2;
    if (length === 126) {
      if (data.length < 4) return;
      length = data.readUInt16BE(2);
      offset = 4;
    } else if (length === 127) {
      if (data.length < 10) return;
      length = Number(data.readBigUInt64BE(2));
      offset = 10;
    }
    if (data.length < offset + 4 + length) return;
    const mask = data.subarray(offset, offset + 4);
    const payload = Buffer.from(data.subarray(offset + 4, offset + 4 + length));
    for (let i = 0; i < payload.length; ++i) payload[i] ^= mask[i & 3];
    const opcode = data[0] & 15;
    state.buffer = data.subarray(offset + 4 + length);
    if (opcode === 8) {
      const code = payload.length >= 2 ? payload.readUInt16BE(0) : 0;
      tell(server.id, 'close', code, payload.subarray(2).toString());
      if (server.options.answerClose !== false) {
        if (!state.closeSent) socket.write(frame(8, payload));
        socket.end();
      }
    } else if (opcode === 9) {
      tell(server.id, 'ping', payload.toString());
      if (server.options.pong !== false) socket.write(frame(10, payload));
    } else {
      tell(server.id, opcode === 10 ? 'pong' : 'frame', opcode, payload.length, payload.subarray(0, 100).toString());
    }
  }
}

function serve(server, socket) {
  const state = { buffer: Buffer.alloc(0), upgraded: false, closeSent: false };
  socket.testState = state;
  server.newest = socket;
  ++server.secure;
  tell(server.id, 'secure', socket.getProtocol(), socket.getCipher().name);
  socket.on('data', (data) => {
    server.bytes += data.length;
    state.buffer = Buffer.concat([state.buffer, data]);
    if (!state.upgraded) {
      const end = state.buffer.indexOf('\r\n\r\n');
      if (end < 0) return;
      const head = state.buffer.subarray(0, end).toString();
      state.buffer = state.buffer.subarray(end + 4);
      state.upgraded = true;
      tell(server.id, 'request', head.replace(/\r\n/g, '|'));
      if (!server.options.quiet) upgrade(server, socket, head);
    }
    takeFrames(server, socket, state);
  });
  socket.on('error', () => {});
  socket.on('close', () => tell(server.id, 'gone'));
}

const commands = {
  listen(command) {
    const server = { id: command.id, options: command, tcp: 0, secure: 0, bytes: 0, newest: null, sockets: new Set() };
    const onTcp = (socket) => {
      socket.setNoDelay(true);
      ++server.tcp;
      server.sockets.add(socket);
      socket.on('close', () => server.sockets.delete(socket));
      socket.on('error', () => {});
      tell(server.id, 'tcp');
    };
    if (command.kind === 'tls') {
      server.listener = tls.createServer(
        {
          cert: fs.readFileSync(command.cert),
          key: fs.readFileSync(command.key),
          minVersion: command.min || 'TLSv1.2',
          maxVersion: command.max || 'TLSv1.3',
          ciphers: command.max === 'TLSv1.1' ? 'DEFAULT@SECLEVEL=0' : undefined,
        },
        (socket) => serve(server, socket),
      );
      server.listener.on('connection', onTcp);
      server.listener.on('tlsClientError', (error) => tell(server.id, 'tlserror', error.code || error.message));
    } else {
      server.listener = net.createServer((socket) => {
        onTcp(socket);
        if (command.kind === 'reset') socket.resetAndDestroy();
      });
    }
    servers.set(server.id, server);
    server.listener.listen(command.port || 0, '127.0.0.1', () =>
      tell(server.id, 'listening', server.listener.address().port),
    );
  },
  stop(command, server) {
    for (const socket of server.sockets) socket.destroy();
    server.listener.close(() => tell(server.id, 'stopped'));
  },
  stats(command, server) {
    tell(server.id, 'stats', `tcp=${server.tcp}`, `secure=${server.secure}`, `bytes=${server.bytes}`);
  },
  text(command, server) {
    server.newest.write(frame(1, command.size ? Buffer.alloc(command.size, 'x') : Buffer.from(command.text)));
  },
  binary(command, server) {
    server.newest.write(frame(2, Buffer.alloc(command.size, 1)));
  },
  raw(command, server) {
    server.newest.write(Buffer.from(command.hex, 'hex'));
  },
  close(command, server) {
    const code = Buffer.alloc(2);
    code.writeUInt16BE(command.code || 0);
    server.newest.testState.closeSent = true;
    server.newest.write(
      frame(8, command.code ? Buffer.concat([code, Buffer.from(command.reason || '')]) : Buffer.alloc(0)),
    );
  },
  destroy(command, server) {
    server.newest.destroy();
  },
  freeze(command, server) {
    server.newest.pause();
    server.newest.removeAllListeners('data');
  },
};

readline
  .createInterface({ input: process.stdin })
  .on('line', (line) => {
    const command = JSON.parse(line);
    commands[command.do](command, servers.get(command.id));
  })
  .on('close', () => process.exit(0));
tell('server', 'ready');
