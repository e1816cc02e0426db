// What a central system does to the local authorization list and the cache, over the wire.
import fs from 'node:fs';
import path from 'node:path';
import { assert, pause, systemTest, theme } from './lib/world.js';

const MAX_LENGTH = 1000;
const WRITE_MS = 5000;
const KILLS = 8;
// More than the answer and the write after it take.
const KILL_WITHIN_MS = 16;

const tag = (idTag, status = 'Accepted') => ({ idTag, idTagInfo: { status } });
/** Lists differ in their tags and in their length, so that a mixture of two shows. */
const tagsOf = (version) => Array.from({ length: (version % 20) + 1 }, (_, i) => `${version}-${i}`).sort();

function send(world, updateType, listVersion, entries, link = world.link) {
  return link.call('SendLocalList', { listVersion, updateType, localAuthorizationList: entries });
}

function document(world, name = 'localAuthList.json') {
  const file = path.join(world.root.folder, 'data/config', name);
  return fs.existsSync(file) ? JSON.parse(fs.readFileSync(file, 'utf8')) : {};
}

/** The answer comes before the list is on the disk. */
async function until(probe, what) {
  const end = Date.now() + WRITE_MS;
  while (!probe()) {
    assert.ok(Date.now() < end, what);
    await pause(20);
  }
}

const version = async (world) => (await world.link.call('GetLocalListVersion')).listVersion;

theme('the local authorization list', () => {
  systemTest('a list is in force with its answer, and there again after a kill', {}, async (world) => {
    await world.start();
    await world.settled();
    assert.equal(await version(world), 0);
    assert.deepEqual(await send(world, 'Full', 5, [tag('A'), tag('B', 'Blocked')]), { status: 'Accepted' });
    assert.equal(await version(world), 5);
    await until(() => document(world).list_version === 5, 'the list is on the disk');
    await world.restartSecc();
    await world.online();
    assert.equal(await version(world), 5);
    assert.deepEqual(await send(world, 'Differential', 5, [tag('C')]), { status: 'VersionMismatch' });
    assert.deepEqual(await send(world, 'Differential', 6, [tag('C'), { idTag: 'A' }]), { status: 'Accepted' });
    await until(() => document(world).list_version === 6, 'the change is on the disk');
    assert.deepEqual(Object.keys(document(world)).sort(), ['B', 'C', 'list_version']);
    assert.equal(document(world).B.status, 1);
  });

  systemTest('an empty list has version 0, whatever came with it', {}, async (world) => {
    await world.start();
    await world.settled();
    await send(world, 'Full', 5, [tag('A')]);
    assert.deepEqual(await send(world, 'Full', 7, []), { status: 'Accepted' });
    assert.equal(await version(world), 0);
  });

  systemTest('lists up to the maximum length go in, and no longer ones', {}, async (world) => {
    await world.start();
    await world.settled();
    const tags = Array.from({ length: MAX_LENGTH + 1 }, (_, i) => tag(`TAG${i}`));
    assert.deepEqual(await send(world, 'Full', 1, tags), { status: 'Failed' });
    assert.deepEqual(await send(world, 'Full', 1, tags.slice(1)), { status: 'Accepted' });
    assert.deepEqual(await send(world, 'Differential', 2, [tag('ONE MORE')]), { status: 'Failed' });
    assert.deepEqual(await send(world, 'Full', -1, []), { status: 'Failed' });
    assert.equal(await version(world), 1);
  });

  systemTest(
    'a list that is not enabled is not supported',
    { settings: { ocpp: { LocalAuthListEnabled: false } } },
    async (world) => {
      await world.start();
      await world.settled();
      assert.deepEqual(await send(world, 'Full', 1, [tag('A')]), { status: 'NotSupported' });
      assert.equal(await version(world), -1);
    },
  );

  systemTest('the cache is cleared on request, its document included', {}, async (world) => {
    const file = path.join(world.root.folder, 'data/config/authCache.json');
    fs.mkdirSync(path.dirname(file), { recursive: true });
    fs.writeFileSync(file, JSON.stringify({ TAG: { status: 0, entry_date: '2026-01-15T10:15:00Z', parent_id: '' } }));
    await world.start();
    await world.settled();
    assert.deepEqual(await world.link.call('ClearCache'), { status: 'Accepted' });
    await until(() => Object.keys(document(world, 'authCache.json')).length === 0, 'the cache is empty on the disk');
  });

  systemTest(
    'a station without a cache accepts its clearing all the same',
    { settings: { ocpp: { AuthorizationCacheEnabled: false } } },
    async (world) => {
      await world.start();
      await world.settled();
      assert.deepEqual(await world.link.call('ClearCache'), { status: 'Accepted' });
      await world.answers();
    },
  );

  systemTest('kills amid updates leave the old or the new list', { timeoutMs: 120000 }, async (world) => {
    await world.start();
    let answered = 0;
    for (let number = 1; number <= KILLS; number += 1) {
      await world.settled();
      const sent = send(
        world,
        'Full',
        number,
        tagsOf(number).map((id) => tag(id)),
      );
      sent.then(
        () => (answered += 1),
        () => {},
      );
      await pause(((number - 1) * KILL_WITHIN_MS) / KILLS);
      await world.secc.kill();
      const { list_version: found = 0, ...entries } = document(world);
      assert.ok(found <= number, `version ${found} was never sent`);
      assert.deepEqual(Object.keys(entries).sort(), found === 0 ? [] : tagsOf(found));
      world.startSecc();
      await world.online();
      assert.equal(await version(world), found);
    }
    console.log(`${KILLS} kills, ${answered} of the lists had been answered`);
  });
});
