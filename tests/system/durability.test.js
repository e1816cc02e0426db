// Killed with signal 9 at any moment, with links that break and a central system that errs: no session is lost, none is
// told of twice, none gets a wrong id, and their order stays.
//
//   DURABILITY_KILLS     how often in all (default 40; a full run has at least 300)
//   DURABILITY_STATIONS  how many stations share them, side by side (default 6)
//   DURABILITY_SEED      brings the decisions of an earlier run again
import { differences, Driver, isForgotten, Killer, MoodySystem, settle, transactionCalls } from './lib/durability.js';
import { Random } from './lib/random.js';
import { assert, pause, systemTest, theme } from './lib/world.js';

const KILLS = Number(process.env.DURABILITY_KILLS || 40);
const STATIONS = Math.min(Number(process.env.DURABILITY_STATIONS || 6), KILLS);
const SEED = Random.seedFrom(process.env.DURABILITY_SEED);

const SETTLE_MS = 90000;
// More than a kill takes on a busy machine.
const KILL_MS = 10000;
// Long enough for a message that should not come.
const QUIET_MS = 500;

const IMPATIENT = {
  settings: {
    ocpp: {
      ChargeBeforeAcceptedPolicy: 'always',
      MessageTimeout: 1,
      MeterValueSampleInterval: 1,
      // The process asks for the connector's identification when it handles a session event, and never else.
      MinimumStatusDuration: 86400,
      // A message is never given up, however often it is refused.
      TransactionMessageAttempts: 1000,
      TransactionMessageRetryInterval: 1,
    },
  },
  station: {
    autoAuthorize: true,
    maxCurrent: 63000,
    vehicle: { current: 63000 },
    // What is told to a process that is killed soon after is told again, in any case.
    times: { startingMs: 20, stoppingMs: 20, sureMs: 1000, lateMs: 1500, lateUntilAsked: true },
  },
};

function shareOf(index) {
  return Math.floor(KILLS / STATIONS) + (index < KILLS % STATIONS ? 1 : 0);
}

function told(tally) {
  return Object.entries(tally)
    .map(([what, count]) => `${count} ${what}`)
    .join(', ');
}

async function survive(world, kills, random) {
  const driver = new Driver(world, random.derive('driver'));
  const system = new MoodySystem(world.csms, random.derive('central system'));
  const killer = new Killer(world, driver, random.derive('killer'));
  const charging = driver.run();
  const begun = Date.now();
  for (let kill = 0; kill < kills; kill += 1) await Promise.race([killer.strike(), charging]);
  const tookMs = Date.now() - begun;
  driver.finish();
  await charging;
  system.calm();
  await settle(driver, world.csms, { timeoutMs: SETTLE_MS });
  return { driver, system, killer, tookMs };
}

theme(
  `signal 9 at any moment (DURABILITY_SEED=${SEED})`,
  () => {
    for (let index = 0; index < STATIONS; index += 1) {
      const kills = shareOf(index);
      systemTest(
        `after ${kills} kills of station ${index + 1} the books are right`,
        { ...IMPATIENT, timeoutMs: SETTLE_MS + 60000 + kills * KILL_MS },
        async (world) => {
          await world.start();
          const { driver, system, killer, tookMs } = await survive(world, kills, new Random(SEED).derive(`${index}`));
          console.log(
            `station ${index + 1}, seed ${SEED}: ${kills} kills (${told(killer.tally)}) in ${tookMs} ms, ` +
              `${driver.sessions.length} sessions, answers: ${told(system.tally)}`,
          );
          assert.deepEqual(differences(driver, world.csms), [], `DURABILITY_SEED=${SEED}`);
          assert.deepEqual(killer.alarms, []);
          await nothingIsLeft(world);
        },
      );
    }
  },
  { concurrency: STATIONS },
);

/** Once the process has the answer of the last message, a further process finds nothing to send. */
async function nothingIsLeft(world) {
  await isForgotten(world);
  await pause(QUIET_MS);
  const sent = transactionCalls(world.csms).length;
  const { mark } = world.csms;
  await world.restartSecc();
  await world.csms.waitForCall('Heartbeat', { after: mark, timeoutMs: 20000 });
  await pause(QUIET_MS);
  await world.secc.waitForLine('Load messages from persistent storage, found 0 messages in storage');
  assert.equal(transactionCalls(world.csms).length, sent, 'nothing was sent again');
}
