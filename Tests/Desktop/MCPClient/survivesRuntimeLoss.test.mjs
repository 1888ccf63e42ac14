// The runtime is killed, ended, stopped, replaced and restarted while calls are on their
// way: each call is answered once and clearly, and the next one works.
//
// usage: node --test survivesRuntimeLoss.test.mjs   with TAVIK_BRIDGE naming the program

import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { copyFileSync, mkdtempSync, readlinkSync, renameSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { after, before, beforeEach, describe, test } from 'node:test';
import { setTimeout as sleep } from 'node:timers/promises';
import { promisify } from 'node:util';
import { Bridge, elementIndex, textOf } from './Bridge.mjs';
import { Application, eventually } from './Desktop.mjs';

const run = promisify(execFile);

/** The programs in a folder of their own, where they can be replaced. */
function install() {
  const built = dirname(process.env.TAVIK_BRIDGE);
  const folder = mkdtempSync(join(tmpdir(), 'tavik-installed-'));
  for (const file of ['TavikComputerUseBridge', 'TavikComputerUseRuntime', 'TavikComputerUse.json']) {
    copyFileSync(join(built, file), join(folder, file));
  }
  return folder;
}

/** The process of the runtime that has the name on the bus; 0 when there is none. */
async function runtimePID() {
  try {
    const { stdout } = await run('gdbus', ['call', '--session', '--dest', 'org.freedesktop.DBus', '--object-path',
      '/org/freedesktop/DBus', '--method', 'org.freedesktop.DBus.GetConnectionUnixProcessID', 'com.tavik.computeruse']);
    return Number(/uint32 (\d+)/.exec(stdout)[1]);
  } catch {
    return 0;
  }
}

let folder;
let bridge;
let application;
before(async () => {
  folder = install();
  bridge = await Bridge.connect(join(folder, 'TavikComputerUseBridge'));
  application = await Application.start('galculator');
});
after(async () => {
  application.child.kill('SIGCONT');
  await application.end();
  await bridge.close();
  rmSync(folder, { recursive: true });
});

describe('a runtime that goes away', () => {
  let button;
  beforeEach(async () => {
    application.child.kill('SIGCONT');
    button = elementIndex(await bridge.read('get_app_state', { app: 'galculator' }), /button 1/);
  });

  /** Calls that hang because their application does. */
  async function hangingCalls() {
    application.child.kill('SIGSTOP');
    const state = bridge.call('get_app_state', { app: 'galculator' });
    const action = bridge.call('click', { app: 'galculator', element_index: button });
    await sleep(500);
    return { state, action };
  }

  async function assertTheNextCallWorks(lostPID) {
    application.child.kill('SIGCONT');
    assert.match(await bridge.read('list_apps'), /galculator/);
    const pid = await runtimePID();
    assert.ok(pid > 0 && pid !== lostPID);
  }

  test('killed in the middle of calls', async () => {
    const pid = await runtimePID();
    const { state, action } = await hangingCalls();
    process.kill(pid, 'SIGKILL');
    const failed = await action;
    assert.equal(failed.isError, true);
    assert.match(textOf(failed), /^IPC error: the runtime ended before it answered/);
    assert.match(textOf(failed), /call get_app_state to see whether it happened/);
    application.child.kill('SIGCONT');
    // Reading changes nothing and is asked for again.
    assert.match(textOf(await state), /galculator/);
    await assertTheNextCallWorks(pid);
  });

  test('told to end in the middle of calls', async () => {
    const pid = await runtimePID();
    const { state, action } = await hangingCalls();
    process.kill(pid, 'SIGTERM');
    const failed = await action;
    assert.equal(failed.isError, true);
    assert.match(textOf(failed), /the runtime ended before it answered \(TavikComputerUseRuntime received signal 15\)/);
    application.child.kill('SIGCONT');
    assert.match(textOf(await state), /galculator/);
    await assertTheNextCallWorks(pid);
  });

  test('stopped for a while', async () => {
    const pid = await runtimePID();
    process.kill(pid, 'SIGSTOP');
    const list = bridge.read('list_apps');
    await sleep(300);
    await bridge.client.ping();
    process.kill(pid, 'SIGCONT');
    assert.match(await list, /galculator/);
    assert.equal(await runtimePID(), pid);
  });

  test('stopped and then killed', async () => {
    const pid = await runtimePID();
    process.kill(pid, 'SIGSTOP');
    const list = bridge.read('list_apps');
    await sleep(300);
    process.kill(pid, 'SIGKILL');
    assert.match(await list, /galculator/);
    await assertTheNextCallWorks(pid);
  });

  test('replaced by another version', async () => {
    const pid = await runtimePID();
    const program = join(folder, 'TavikComputerUseRuntime');
    copyFileSync(program, `${program}.new`);
    renameSync(`${program}.new`, program);
    assert.match(await bridge.read('list_apps'), /galculator/, 'the old one goes on');
    assert.equal(await runtimePID(), pid);
    process.kill(pid, 'SIGTERM');
    await eventually('The end of the old one', async () => (await runtimePID()) !== pid);
    await assertTheNextCallWorks(pid);
    assert.equal(readlinkSync(`/proc/${await runtimePID()}/exe`), program);
  });

  test('killed again and again under calls', async () => {
    for (let round = 0; round < 10; ++round) {
      const calls = [bridge.call('list_apps'), bridge.call('list_apps'), bridge.call('get_app_state', { app: 'galculator' })];
      await sleep(20 * round);
      const pid = await runtimePID();
      if (pid) process.kill(pid, 'SIGKILL');
      for (const result of await Promise.all(calls)) {
        const text = textOf(result);
        assert.ok(result.isError ? /^IPC error: /.test(text) : /galculator/.test(text), text);
      }
    }
    assert.match(await bridge.read('list_apps'), /galculator/);
  });
});

test('a bridge that was replaced itself is refused in words that say what to do', async () => {
  const program = join(folder, 'TavikComputerUseBridge');
  copyFileSync(program, `${program}.new`);
  renameSync(`${program}.new`, program);
  const refused = await bridge.call('list_apps');
  assert.equal(refused.isError, true);
  assert.match(textOf(refused), /updated.*restart the host/s);
});
