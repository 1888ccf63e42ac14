// The desktop as the user has it: windows, focus and pointer, asked without the
// system under test.

import { spawn, execFile } from 'node:child_process';
import { promisify } from 'node:util';
import { setTimeout as sleep } from 'node:timers/promises';
import { fileURLToPath } from 'node:url';

const run = promisify(execFile);

/** Asks until the answer is truthy, for at most some seconds. */
export async function eventually(what, question, seconds = 20) {
  const deadline = Date.now() + seconds * 1000;
  let lastError = '';
  while (Date.now() < deadline) {
    try {
      const answer = await question();
      if (answer) return answer;
    } catch (error) {
      lastError = `: ${error.message}`;
    }
    await sleep(50);
  }
  throw new Error(`${what} did not happen within ${seconds} seconds${lastError}`);
}

async function xdotool(...args) {
  return (await run('xdotool', args)).stdout.trim();
}

/** An application that the test started and ends. */
export class Application {
  static async start(program, args = []) {
    const child = spawn(program, args, { stdio: 'ignore' });
    const application = new Application(program, child);
    child.on('error', (error) => (application.failure = error));
    application.window = await eventually(`A window of ${program}`, async () => {
      if (application.failure) throw application.failure;
      const found = await xdotool('search', '--all', '--onlyvisible', '--pid', String(child.pid), '--class', '.');
      return found.split('\n').at(-1);
    });
    return application;
  }

  constructor(program, child) {
    this.program = program;
    this.child = child;
  }

  async bringToFront() {
    await xdotool('windowactivate', '--sync', this.window, 'windowfocus', '--sync', this.window);
    await eventually(`${this.program} in front`, async () => {
      const { activeWindow, focusWindow } = await userSituation();
      return activeWindow === this.window && focusWindow === this.window;
    });
  }

  async end() {
    if (this.child.exitCode !== null || this.child.signalCode !== null) return;
    const ended = new Promise((resolve) => this.child.once('exit', resolve));
    this.child.kill('SIGTERM');
    await Promise.race([ended, sleep(3000).then(() => this.child.kill('SIGKILL'))]);
  }
}

export async function movePointer(x, y) {
  await xdotool('mousemove', String(x), String(y));
  await eventually('The pointer there', async () => (await userSituation()).pointer === `X=${x} Y=${y}`);
}

/** Types as a person does: into whatever has the keyboard focus. */
export async function typeAsUser(text) {
  await xdotool('type', '--delay', '5', text);
}

/** What must stay as it is for the user. */
export async function userSituation() {
  const [location, focusWindow, activeWindow] = await Promise.all([
    xdotool('getmouselocation', '--shell'), xdotool('getwindowfocus'), xdotool('getactivewindow'),
  ]);
  const [x, y] = location.split('\n');
  return { pointer: `${x} ${y}`, focusWindow, activeWindow };
}

/**
 * Looks at the user's situation all the time while the work is done, follows every
 * change of the active window on top of that, and gives all that was seen.
 */
export async function watchUserSituation(work) {
  const spy = spawn('xprop', ['-root', '-spy', '_NET_ACTIVE_WINDOW'], { stdio: ['ignore', 'pipe', 'ignore'] });
  const activeWindows = new Set();
  spy.stdout.on('data', (lines) => {
    for (const line of String(lines).trim().split('\n')) activeWindows.add(line.split('#').at(-1).trim());
  });
  await eventually('The first report of the active window', () => activeWindows.size > 0);

  const seen = { pointers: new Set(), focusWindows: new Set(), activeWindows, samples: 0 };
  let working = true;
  const watching = (async () => {
    while (working) {
      const now = await userSituation();
      seen.pointers.add(now.pointer);
      seen.focusWindows.add(now.focusWindow);
      seen.samples += 1;
      await sleep(5);
    }
  })();
  try {
    seen.result = await work();
    // What an action sets going may come a moment after its answer.
    await sleep(300);
  } finally {
    working = false;
    await watching;
    spy.kill();
  }
  return seen;
}

/** The texts that an application shows, read straight from it by other people's tool. */
export async function textsShownBy(application) {
  const reader = fileURLToPath(new URL('./readShownTexts.py', import.meta.url));
  const { stdout } = await run('/usr/bin/python3', [reader, String(application.child.pid)]);
  return JSON.parse(stdout);
}
