// The include rules: each rule has a source that breaks it and is named, beside sources that keep it.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

const REPOSITORY = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const FOLDER = path.join(REPOSITORY, 'build/tools-tests', String(process.pid));

/** Runs the check on a tree of these sources: {path: text}. */
function check(t, sources) {
  fs.mkdirSync(FOLDER, { recursive: true });
  const root = fs.mkdtempSync(path.join(FOLDER, 'tree-'));
  t.after(() => fs.rmSync(root, { recursive: true }));
  for (const [file, text] of Object.entries(sources)) {
    fs.mkdirSync(path.join(root, path.dirname(file)), { recursive: true });
    fs.writeFileSync(path.join(root, file), text);
  }
  const { status, stdout } = spawnSync(path.join(REPOSITORY, 'tools/lib/checkincludes'), [root], { encoding: 'utf8' });
  return { status, lines: stdout.split('\n').filter(Boolean) };
}

const BREAKING = {
  'an include that runs upward': ['platform/clock/clock.h', '#include "platform/iclogger/log.h"', 'layering'],
  'the product including its tests': ['src/components/ocpp.cpp', '#include "tests/unit/support/x.h"', 'layering'],
  'a component including the process': ['src/components/ocpp.cpp', '#include "src/secc/secc.h"', 'layering'],
  'the common layer including an action': [
    'src/components/operation/ocpp_common/x.cpp',
    '#include "src/components/operation/ocpp16/messages/y.h"',
    'layering',
  ],
  'a source in a folder that nobody described': [
    'platform/other/x.cpp',
    '#include "platform/clock/clock.h"',
    'layering',
  ],
  'gRPC in a component': ['src/components/ocpp.cpp', '#include <grpcpp/channel.h>', 'home'],
  'gRPC stubs in a component': ['src/components/ocpp.cpp', '#include <meter.grpc.pb.h>', 'home'],
  'SQLite outside the stores': ['src/components/ocpp.cpp', '#include <sqlite3.h>', 'home'],
  'TLS outside the link': ['platform/toolbox/x.cpp', '#include <wolfssl/ssl.h>', 'home'],
  'the JSON of payloads outside them': ['src/components/ocpp.cpp', '#include <nlohmann/json.hpp>', 'home'],
  'the JSON of stores in the payloads': [
    'src/components/operation/ocpp16/messages/x.cpp',
    '#include <json/value.h>',
    'home',
  ],
  'a test of another folder with that library': ['tests/unit/src/components/ocpp.cpp', '#include <sqlite3.h>', 'home'],
  'a concrete class behind an interface': [
    'src/components/ocpp.cpp',
    '#include "src/components/hostinfo.h"',
    'concrete',
  ],
  'a look at the machine clock': ['src/components/ocpp.cpp', 'auto x = std::chrono::steady_clock::now();', 'time'],
  'a sleep in a test': ['tests/unit/src/x.cpp', '  std::this_thread::sleep_for(1s);', 'time'],
  'a wait with a deadline': ['platform/worker/x.cpp', '  condition.wait_for(lock, 1s);', 'time'],
};
const HOST_INFO = { 'src/components/hostinfo.h': '', 'src/components/ihostinfo.h': '' };

for (const [situation, [file, line, rule]] of Object.entries(BREAKING)) {
  test(`${situation} is named with its line`, (t) => {
    const { status, lines } = check(t, { ...HOST_INFO, [file]: `#pragma once\n${line}\n` });
    assert.equal(status, 1);
    assert.equal(lines.length, 1, lines.join('\n'));
    assert.ok(lines[0].startsWith(`${file}:2: ${rule}: `), lines[0]);
    assert.ok(lines[0].endsWith(line.trim()), lines[0]);
  });
}

test('sources that keep the rules pass', (t) => {
  const { status, lines } = check(t, {
    ...HOST_INFO,
    'platform/clock/realclock.cpp': '#include "platform/clock/clock.h"\nreturn std::chrono::steady_clock::now();\n',
    'platform/iipc/meter.cpp': '#include <meter.grpc.pb.h>\n#include "platform/commutil/client.h"\n',
    'platform/commutil/stream.cpp': 'context->set_wait_for_ready(true);  // not wait_for\n',
    'src/components/hostinfo.cpp': '#include "src/components/hostinfo.h"\n',
    'src/components/ocpp.cpp': '#include "src/components/ihostinfo.h"\n#include "platform/worker/worker.h"\n',
    'src/components/ocppcomponent.cpp': '#include "src/components/hostinfo.h"\n',
    'src/components/operation/ocpp16/messages/x.cpp': '#include <nlohmann/json.hpp>\n',
    'src/secc/secc.cpp': '#include "statemachines/hsm.h"\n#include "src/components/hostinfo.h"\n',
    'tests/unit/platform/icconfig/domaintest.cpp': '#include <sqlite3.h>\n',
    'tests/unit/src/components/hostinfotest.cpp': '#include "src/components/hostinfo.h"\n',
  });
  assert.deepEqual(lines, []);
  assert.equal(status, 0);
});

test('a folder without sources does not pass', (t) => {
  assert.equal(check(t, {}).status, 1);
});
