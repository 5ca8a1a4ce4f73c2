// The editor module through the official MCP client: the whole catalogue listed, PIE driven over real frames,
// the log read back, and the two ways of listing fewer tools.
import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { call, connectStdio, makeTempProject, removeTempProject, until, withTimeout } from './helpers.mjs';

function connect(projectDir, extraArgs = []) {
  return connectStdio(projectDir, { clientName: 'tarnwick-e2e-editor', args: extraArgs, stderr: 'inherit' });
}

describe('editor tools over stdio', { timeout: 90000 }, () => {
  let projectDir;
  let client;

  before(async () => {
    projectDir = makeTempProject();
    client = await connect(projectDir);
  });

  after(async () => {
    await withTimeout(client?.close() ?? Promise.resolve(), 10000, 'the client to close');
    removeTempProject(projectDir);
  });

  test('the whole catalogue is listed with valid names', async () => {
    const { tools } = await client.listTools();
    const editor = tools.filter((t) => t.name.startsWith('editor_') && !t.name.startsWith('editor_utility_'));
    const utility = tools.filter((t) => t.name.startsWith('editor_utility_'));
    assert.equal(editor.length, 75);
    assert.equal(utility.length, 14);
    for (const tool of tools) assert.match(tool.name, /^[a-z][a-z0-9_]{0,63}$/);
    const recent = tools.find((t) => t.name === 'editor_get_recent_logs');
    assert.deepEqual(recent.inputSchema.properties.count, { type: 'integer', description: 'Number of entries to return', default: 50 });
  });

  test('PIE starts over real frames, pauses, steps and stops', async () => {
    const requested = await call(client, 'editor_start_play');
    assert.equal(requested.requested, true);
    await until('PIE to be active', async () => (await call(client, 'editor_is_pie_active')).active === true);
    const state = await call(client, 'editor_is_pie_active');
    assert.equal(state.world_type, 'PIE');
    assert.equal(state.owner, 'user');

    assert.equal((await call(client, 'editor.pause_pie')).paused, true, 'a dotted name works too');
    assert.deepEqual(await call(client, 'editor_step_pie', { frames: 3 }), { success: true, stepped: 3, will_repause: true });
    await until('the step to re-pause', async () => (await call(client, 'editor_is_pie_active')).is_paused === true);

    assert.equal((await call(client, 'editor_stop_play')).was_active, true);
    await until('PIE to end', async () => (await call(client, 'editor_is_pie_active')).active === false);

    const { entries } = await call(client, 'editor_search_logs', { pattern: 'BeginTearingDown', limit: 5 });
    assert.ok(entries.some((e) => e.category === 'LogWorld'), 'the teardown was logged and captured');
  });

  test('a pending action answers that it is not implemented yet', async () => {
    const result = await client.callTool({ name: 'editor_utility_run', arguments: { asset_path: '/Game/X' } });
    assert.equal(result.isError, true);
    assert.deepEqual(result.structuredContent, {
      error: { code: -32603, message: 'editor_utility.run is not implemented yet' },
    });
  });
});

describe('fewer tools', { timeout: 60000 }, () => {
  let projectDir;

  before(() => { projectDir = makeTempProject(); });
  after(() => removeTempProject(projectDir));

  test('--toolset lists the chosen families and the core tools only', async () => {
    const client = await connect(projectDir, ['--toolset', 'editor.logs,editor.pie']);
    try {
      const { tools } = await client.listTools();
      const names = tools.map((t) => t.name);
      assert.ok(names.includes('editor_tail_log'));
      assert.ok(names.includes('editor_step_pie'));
      assert.ok(names.includes('brindle_get_async_job'));
      assert.ok(!names.includes('editor_set_fov'));
      // Listing is all it changes.
      assert.equal((await call(client, 'editor_set_fov', { fov: 200 })).success, true);
    } finally {
      await client.close();
    }
  });

  test('--tool-mode grouped lists one tool per namespace and describes actions on demand', async () => {
    const client = await connect(projectDir, ['--tool-mode', 'grouped']);
    try {
      const { tools } = await client.listTools();
      const names = tools.map((t) => t.name);
      assert.ok(names.includes('editor'));
      assert.ok(names.includes('editor_utility'));
      assert.ok(names.includes('brindle_describe_action'));
      assert.ok(tools.length < 10, `${tools.length} tools listed`);

      const described = await call(client, 'brindle_describe_action', { action: 'editor.tail_log' });
      assert.equal(described.input_schema.properties.count.default, 50);
      const tail = await call(client, 'editor', { action: 'tail_log', params: { count: 2 } });
      assert.equal(tail.count, 2);
    } finally {
      await client.close();
    }
  });
});
