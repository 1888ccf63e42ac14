// An MCP client that others wrote drives applications that others wrote, while the
// user works in another window and notices nothing.
//
// usage: node --test drivesRealApplications.test.mjs   with TAVIK_BRIDGE naming the program

import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';
import Ajv from 'ajv';
import { Bridge, elementIndex, textOf } from './Bridge.mjs';
import {
  Application, eventually, movePointer, textsShownBy, typeAsUser, userSituation, watchUserSituation,
} from './Desktop.mjs';

const toolNames = [
  'list_apps', 'get_app_state', 'click', 'scroll', 'drag', 'type_text', 'press_key', 'set_value', 'select_text',
  'perform_secondary_action', 'event_stream_start', 'event_stream_status', 'event_stream_stop',
];

let bridge;
before(async () => {
  assert.ok(process.env.TAVIK_BRIDGE, 'TAVIK_BRIDGE names the bridge program');
  bridge = await Bridge.connect(process.env.TAVIK_BRIDGE);
});
after(() => bridge.close());

describe('the protocol', () => {
  test('initialises with tools and instructions', () => {
    assert.equal(bridge.client.getServerVersion().name, 'tavik-computer-use');
    assert.ok(bridge.client.getServerCapabilities().tools);
    assert.match(bridge.client.getInstructions(), /get_app_state/);
  });

  test('answers a ping while a tool call runs', async () => {
    const call = bridge.read('list_apps');
    await bridge.client.ping();
    await call;
  });

  test('lists every tool with a valid schema and a description', async () => {
    const { tools } = await bridge.client.listTools();
    assert.deepEqual(tools.map((tool) => tool.name), toolNames);
    const ajv = new Ajv({ strict: true, allErrors: true });
    for (const tool of tools) {
      ajv.compile(tool.inputSchema);
      assert.equal(tool.inputSchema.type, 'object', tool.name);
      assert.ok(tool.description.length > 40, tool.name);
    }
  });

  test('answers a mistake in the arguments as a tool error', async () => {
    const result = await bridge.call('click', { app: 'galculator', element_index: 1, mouse_button: 'fourth' });
    assert.equal(result.isError, true);
    assert.equal(textOf(result), 'Invalid mouse button: fourth');
  });

  test('refuses an unknown tool', async () => {
    await assert.rejects(bridge.call('make_coffee'), /Unknown tool: make_coffee/);
  });

  test('names an application that is not there', async () => {
    const result = await bridge.call('get_app_state', { app: 'no-such-application' });
    assert.equal(result.isError, true);
    assert.match(textOf(result), /^App not found: no-such-application/);
  });
});

const calculators = [
  { toolkit: 'GTK', program: 'galculator' },
  { toolkit: 'Qt', program: 'kcalc' },
];

for (const { toolkit, program } of calculators) {
  describe(`${program}, a ${toolkit} application behind the user's window`, () => {
    let calculator;
    let editor;

    before(async () => {
      calculator = await Application.start(program);
      editor = await Application.start('mousepad');
      await eventually(`${program} on the accessibility bus`, () => textsShownBy(calculator));
      await eventually('mousepad on the accessibility bus', () => textsShownBy(editor));
      await editor.bringToFront();
      await movePointer(31, 47);
    });

    after(async () => {
      await calculator?.end();
      await editor?.end();
    });

    test('is listed, read and pressed, and the user keeps focus, front window and pointer', async () => {
      const situation = await userSituation();
      assert.equal(situation.focusWindow, editor.window);
      const sevensShown = async () => (await textsShownBy(calculator)).filter((text) => text === '7').length;
      assert.equal(await sevensShown(), 1, 'only the button says 7');

      const seen = await watchUserSituation(async () => {
        assert.match(await bridge.read('list_apps'), new RegExp(`${program}.*\\[.*running`, 'i'));

        const state = await bridge.call('get_app_state', { app: program });
        assert.ok(!state.isError, textOf(state));
        const image = state.content.find((item) => item.type === 'image');
        assert.equal(image?.mimeType, 'image/png', 'the state comes with a screenshot');
        assert.deepEqual([...Buffer.from(image.data, 'base64').subarray(1, 4)], [...Buffer.from('PNG')]);
        assert.match(textOf(state), new RegExp(`^App=.*\\(pid ${calculator.child.pid}\\)$`, 'm'));

        const digit = elementIndex(textOf(state), /^[a-z ]*button\b.*\b7\b/);
        return bridge.read('click', { app: program, element_index: digit });
      });

      // The state that the click answered with shows the digit on the display.
      assert.match(seen.result, new RegExp(`^App=.*\\(pid ${calculator.child.pid}\\)$`, 'm'));
      const otherLines = seen.result.split('\n').filter((line) => !/ button\b/.test(line));
      assert.ok(otherLines.some((line) => /\b7\b/.test(line.replace(/^\s*\d+ /, ''))),
        `the new state shows 7 on the display:\n${seen.result}`);

      // So does the application itself, asked by other means.
      await eventually('7 on the display', async () => (await sevensShown()) === 2);

      assert.ok(seen.samples > 10, `only ${seen.samples} looks at the user's situation`);
      assert.deepEqual([...seen.pointers], [situation.pointer], 'the pointer did not move');
      assert.deepEqual([...seen.focusWindows], [editor.window], 'the keyboard focus stayed');
      assert.deepEqual([...seen.activeWindows].map(Number), [Number(editor.window)], 'the front window stayed');
    });

    test('leaves the keyboard to the user', async () => {
      await typeAsUser('still mine');
      await eventually('The text in the editor', async () => (await textsShownBy(editor)).includes('still mine'));
    });

    test('refuses an index that no state has shown', async () => {
      const result = await bridge.call('click', { app: program, element_index: 99999 });
      assert.equal(result.isError, true);
      assert.match(textOf(result), /get_app_state/);
    });
  });
}
