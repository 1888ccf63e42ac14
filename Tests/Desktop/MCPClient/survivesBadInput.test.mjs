// A client that sends nonsense gets an answer to it, and the bridge goes on.
//
// usage: node --test survivesBadInput.test.mjs   with TAVIK_BRIDGE naming the program

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createInterface } from 'node:readline';
import { test } from 'node:test';

class RawBridge {
  constructor() {
    this.child = spawn(process.env.TAVIK_BRIDGE, [], { stdio: ['pipe', 'pipe', 'ignore'] });
    this.lines = createInterface({ input: this.child.stdout })[Symbol.asyncIterator]();
  }
  write(text) {
    return new Promise((resolve) => this.child.stdin.write(text, resolve));
  }
  async answer() {
    const { value, done } = await this.lines.next();
    assert.ok(!done, 'the bridge closed its output');
    return JSON.parse(value);
  }
  async assertAlive() {
    await this.write('{"jsonrpc":"2.0","id":"alive","method":"ping"}\n');
    assert.deepEqual(await this.answer(), { jsonrpc: '2.0', id: 'alive', result: {} });
  }
  async end() {
    this.child.stdin.end();
    const [status] = await once(this.child, 'exit');
    assert.equal(status, 0);
  }
}

async function withBridge(body) {
  const bridge = new RawBridge();
  try {
    await body(bridge);
    await bridge.end();
  } finally {
    bridge.child.kill('SIGKILL');
  }
}

test('garbage', () => withBridge(async (bridge) => {
  for (const garbage of ['hello\n', '{"jsonrpc":\n', Buffer.from([0xff, 0x00, 0xfe, 0x0a]), '"text"]\n']) {
    await bridge.write(garbage);
    assert.equal((await bridge.answer()).error.code, -32700);
  }
  await bridge.assertAlive();
}));

test('a message cut off at every byte', () => withBridge(async (bridge) => {
  const message = '{"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"click","arguments":{"x":"é"}}}';
  const bytes = Buffer.from(message);
  for (let length = 1; length < bytes.length; ++length) {
    await bridge.write(Buffer.concat([bytes.subarray(0, length), Buffer.from('\n')]));
    assert.equal((await bridge.answer()).error.code, -32700);
  }
  await bridge.assertAlive();
}));

test('a line of 100 megabytes', () => withBridge(async (bridge) => {
  const megabyte = Buffer.alloc(1 << 20, 'x');
  for (let count = 0; count < 100; ++count) await bridge.write(megabyte);
  await bridge.write('\n');
  assert.equal((await bridge.answer()).error.code, -32600);
  await bridge.assertAlive();
}));

test('lists nested three million deep', () => withBridge(async (bridge) => {
  await bridge.write('['.repeat(3_000_000) + '\n');
  assert.equal((await bridge.answer()).error.code, -32700);
  await bridge.assertAlive();
}));

test('a host that leaves while its input is half a line', () => withBridge(async (bridge) => {
  await bridge.write('{"jsonrpc":"2.0",');
}));

test('a host that stops reading', async () => {
  const bridge = new RawBridge();
  bridge.child.stdout.destroy();
  for (let id = 0; id < 200; ++id) await bridge.write(`{"jsonrpc":"2.0","id":${id},"method":"tools/list"}\n`);
  await bridge.end();
});
