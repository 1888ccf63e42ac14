// The bridge as a host drives it: through the official client of the protocol.

import assert from 'node:assert/strict';
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

export class Bridge {
  static async connect(program) {
    const client = new Client({ name: 'tavik-desktop-test', version: '0.1.0' });
    const protocolErrors = [];
    client.onerror = (error) => protocolErrors.push(error);
    await client.connect(new StdioClientTransport({ command: program, env: { ...process.env } }));
    return new Bridge(client, protocolErrors);
  }

  constructor(client, protocolErrors) {
    this.client = client;
    this.protocolErrors = protocolErrors;
  }

  call(tool, args = {}) {
    return this.client.callTool({ name: tool, arguments: args }, undefined, { timeout: 60_000 });
  }

  /** The text of a call that has to succeed. */
  async read(tool, args = {}) {
    const result = await this.call(tool, args);
    const text = textOf(result);
    assert.ok(!result.isError, `${tool} ${JSON.stringify(args)} failed: ${text}`);
    return text;
  }

  async close() {
    await this.client.close();
    assert.deepEqual(this.protocolErrors, [], 'everything on standard output belongs to the protocol');
  }
}

export function textOf(result) {
  return result.content.filter((item) => item.type === 'text').map((item) => item.text).join('\n');
}

/** The index at the start of the first line of a state that matches. */
export function elementIndex(state, pattern) {
  for (const line of state.split('\n')) {
    const found = /^\s*(\d+) (.*)$/.exec(line);
    if (found && pattern.test(found[2])) return Number(found[1]);
  }
  assert.fail(`No element of this state matches ${pattern}:\n${state}`);
}
