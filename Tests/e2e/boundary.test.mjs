// What an agent's misspelt and mistyped arguments get, through the official MCP client over both transports:
// a -32602 tool error that names the parameter and what was meant, never a plausible wrong answer. Also the
// schemas that tell a model the shapes, and what a grouped call, an unknown tool and a bad --toolset get.
import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';
import { McpError } from '@modelcontextprotocol/sdk/types.js';

import { TarnwickBin, makeTempProject, removeTempProject, run, startHttpServer, withTimeout } from './helpers.mjs';

const transports = {
  async stdio(projectDir, extraArgs = []) {
    const transport = new StdioClientTransport({
      command: TarnwickBin, args: ['serve', '--stdio', '--project', projectDir, ...extraArgs], stderr: 'inherit',
    });
    const client = new Client({ name: 'tarnwick-e2e-boundary', version: '1.0.0' });
    await withTimeout(client.connect(transport), 15000, 'initialize over stdio');
    return { client, async close() { await client.close(); } };
  },
  async http(projectDir, extraArgs = []) {
    const server = await startHttpServer(projectDir, extraArgs);
    const client = new Client({ name: 'tarnwick-e2e-boundary', version: '1.0.0' });
    await withTimeout(client.connect(new StreamableHTTPClientTransport(server.url)), 15000, 'initialize over HTTP');
    return { client, async close() { await client.close(); await server.stop(); } };
  },
};

async function refused(client, name, args) {
  const result = await withTimeout(client.callTool({ name, arguments: args }), 10000, name);
  assert.equal(result.isError, true, `${name} ${JSON.stringify(args)} was not refused: ${JSON.stringify(result)}`);
  assert.equal(result.structuredContent.error.code, -32602);
  return result.content[0].text;
}

async function succeeds(client, name, args) {
  const result = await withTimeout(client.callTool({ name, arguments: args }), 10000, name);
  assert.notEqual(result.isError, true, `${name}: ${JSON.stringify(result.content)}`);
  return result.structuredContent;
}

for (const [kind, connect] of Object.entries(transports)) {
  describe(`arguments checked at the boundary (${kind})`, { timeout: 90000 }, () => {
    let projectDir;
    let session;

    before(async () => {
      projectDir = makeTempProject();
      session = await connect(projectDir);
    });

    after(async () => {
      await session?.close();
      removeTempProject(projectDir);
    });

    test('a misspelt parameter is refused with the one meant, not ignored', async () => {
      assert.equal(await refused(session.client, 'editor_search_logs', { patern: 'PIE' }),
        "Unknown parameter 'patern' (did you mean 'pattern'?) for editor_search_logs; it takes 'pattern', 'category', " +
        "'verbosity', 'limit'.");
      assert.equal(await refused(session.client, 'editor_start_pie', { map: '/Game/Maps/Nope' }),
        "Unknown parameter 'map' for editor_start_pie; it takes no parameters.");
      assert.equal((await succeeds(session.client, 'editor_is_pie_active', {})).active, false, 'nothing started');
    });

    test('a value of the wrong type is refused naming the type and what came', async () => {
      const before = (await succeeds(session.client, 'editor_get_viewport_info', {})).realtime;
      assert.equal(await refused(session.client, 'editor_toggle_realtime', { enabled: 1 }),
        "Wrong type for editor_toggle_realtime: 'enabled' must be a boolean (true or false), got the number 1.");
      assert.equal((await succeeds(session.client, 'editor_get_viewport_info', {})).realtime, before, 'nothing flipped');
      assert.equal(await refused(session.client, 'editor_tail_log', { count: 'five' }),
        "Wrong type for editor_tail_log: 'count' must be an integer, got the string \"five\".");
    });

    test('numeric and boolean text are taken as such, and null as absent', async () => {
      assert.equal((await succeeds(session.client, 'editor_tail_log', { count: '1' })).count, 1);
      assert.equal((await succeeds(session.client, 'editor_toggle_realtime', { enabled: 'false' })).enabled, false);
      assert.equal((await succeeds(session.client, 'editor_toggle_realtime', { enabled: 'true' })).enabled, true);
      const flipped = await succeeds(session.client, 'editor_toggle_realtime', { enabled: null });
      assert.equal(flipped.enabled, false, 'null flips, as absent does');
    });

    test('an unknown tool names the nearest one', async () => {
      await assert.rejects(session.client.callTool({ name: 'editor_tail_logs', arguments: {} }), (error) => {
        assert.ok(error instanceof McpError);
        assert.equal(error.code, -32602);
        assert.match(error.message, /Unknown tool: editor_tail_logs \(did you mean 'editor_tail_log'\?\)/);
        return true;
      });
    });

    test('schemas are closed, say their shapes, and every tool has a title and all four hints', async () => {
      const { tools } = await session.client.listTools();
      for (const tool of tools) {
        assert.equal(tool.inputSchema.additionalProperties, false, tool.name);
        assert.ok(tool.title, `${tool.name} has a title`);
        for (const hint of ['readOnlyHint', 'destructiveHint', 'idempotentHint', 'openWorldHint']) {
          assert.equal(typeof tool.annotations?.[hint], 'boolean', `${tool.name} ${hint}`);
        }
      }
      const byName = Object.fromEntries(tools.map((t) => [t.name, t]));
      assert.deepEqual(byName.editor_move_camera.inputSchema.properties.location,
        { type: 'array', description: '[x, y, z] in world units.', items: { type: 'number' }, minItems: 3, maxItems: 3 });
      assert.ok(byName.editor_set_view_mode.inputSchema.properties.mode.enum.includes('wireframe'));
      assert.equal(byName.editor_tail_log.annotations.readOnlyHint, true);
      assert.equal(byName.editor_start_pie.title, 'Start PIE');
      // Descriptions are the catalogue's own.
      assert.equal(byName.editor_set_fov.description, "Set the active viewport's field-of-view (degrees).");
    });

    test('resource templates are listed, empty', async () => {
      assert.deepEqual((await session.client.listResourceTemplates()).resourceTemplates, []);
    });
  });
}

describe('grouped tools at the boundary', { timeout: 60000 }, () => {
  let projectDir;
  let session;

  before(async () => {
    projectDir = makeTempProject();
    session = await transports.stdio(projectDir, ['--tool-mode', 'grouped']);
  });

  after(async () => {
    await session?.close();
    removeTempProject(projectDir);
  });

  test('parameters at the top level are pointed under "params"', async () => {
    assert.equal(await refused(session.client, 'editor', { action: 'tail_log', count: 2 }),
      'The parameters of editor.tail_log go under "params", as in {"action": "tail_log", "params": {"count": 2}}; ' +
      "'count' was given at the top level");
  });

  test('a misspelt action names the nearest, and the action\'s own parameters are checked', async () => {
    assert.match(await refused(session.client, 'editor', { action: 'tail_logs' }), /did you mean 'tail_log'\?/);
    assert.equal(await refused(session.client, 'editor', { action: 'tail_log', params: { cuont: 2 } }),
      "Unknown parameter 'cuont' (did you mean 'count'?) for editor.tail_log; it takes 'count'.");
    assert.equal((await succeeds(session.client, 'editor', { action: 'tail_log', params: { count: '1' } })).count, 1);
  });
});

describe('start-up refusals', { timeout: 60000 }, () => {
  let projectDir;

  before(() => { projectDir = makeTempProject(); });
  after(() => removeTempProject(projectDir));

  test('an unknown --toolset entry stops start-up with the nearest name', async () => {
    const { code, stderr } = await run(TarnwickBin, ['serve', '--stdio', '--project', projectDir, '--toolset', 'editor.logz']);
    assert.equal(code, 2);
    assert.match(stderr, /unknown --toolset entry 'editor\.logz' \(did you mean 'editor\.logs'\?\)/);
  });
});
