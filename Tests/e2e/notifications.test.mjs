// What the server sends unprompted, received by the official MCP client: an editor warning as a
// notifications/message once the client set a logging level, over the HTTP GET stream and over stdio alike;
// and the editor log keeps to what the editor did, not the server's own session diary.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';
import { LoggingMessageNotificationSchema } from '@modelcontextprotocol/sdk/types.js';

import { TarnwickBin, makeTempProject, removeTempProject, startHttpServer, withTimeout } from './helpers.mjs';

/** A project whose start-up map has no PlayerStart, so starting PIE logs an editor warning. */
function makeWarningProject() {
  const dir = makeTempProject();
  const ini = path.join(dir, 'Config', 'DefaultEngine.ini');
  fs.writeFileSync(ini, fs.readFileSync(ini, 'utf8').replace('EditorStartupMap=/Game/Maps/Arena', 'EditorStartupMap=/Game/Maps/Empty'));
  return dir;
}

/** Connects, asks for warnings, starts PIE, and resolves with the first warning that arrives. */
async function firstWarning(client) {
  const warnings = [];
  let arrived;
  const first = new Promise((resolve) => { arrived = resolve; });
  client.setNotificationHandler(LoggingMessageNotificationSchema, (note) => {
    warnings.push(note.params);
    arrived(note.params);
  });
  await withTimeout(client.setLoggingLevel('warning'), 10000, 'logging/setLevel');
  const started = await withTimeout(client.callTool({ name: 'editor_start_pie', arguments: {} }), 10000, 'editor_start_pie');
  assert.notEqual(started.isError, true, JSON.stringify(started.content));
  return withTimeout(first, 10000, 'a notifications/message');
}

describe('log notifications', { timeout: 90000 }, () => {
  let projectDir;

  before(() => { projectDir = makeWarningProject(); });
  after(() => removeTempProject(projectDir));

  test('reach an HTTP client on its GET stream', async () => {
    const server = await startHttpServer(projectDir);
    const client = new Client({ name: 'tarnwick-e2e-notes', version: '1.0.0' });
    try {
      await withTimeout(client.connect(new StreamableHTTPClientTransport(server.url)), 15000, 'initialize over HTTP');
      const note = await firstWarning(client);
      assert.equal(note.level, 'warning');
      assert.equal(note.logger, 'LogGameMode');
      assert.match(note.data, /No PlayerStart in Empty/);
    } finally {
      await client.close();
      await server.stop();
    }
  });

  test('reach a stdio client', async () => {
    const client = new Client({ name: 'tarnwick-e2e-notes', version: '1.0.0' });
    await withTimeout(client.connect(new StdioClientTransport({
      command: TarnwickBin, args: ['serve', '--stdio', '--project', projectDir], stderr: 'ignore',
    })), 15000, 'initialize over stdio');
    try {
      const note = await firstWarning(client);
      assert.equal(note.logger, 'LogGameMode');
    } finally {
      await client.close();
    }
  });
});

describe('the editor log', { timeout: 60000 }, () => {
  let projectDir;

  before(() => { projectDir = makeTempProject(); });
  after(() => removeTempProject(projectDir));

  test('holds no session or transport chatter after many client sessions', async () => {
    const server = await startHttpServer(projectDir, ['--log-level', 'verbose']);
    try {
      for (let i = 0; i < 5; i++) {
        const transport = new StreamableHTTPClientTransport(server.url);
        const client = new Client({ name: `short-lived-${i}`, version: '1.0.0' });
        await withTimeout(client.connect(transport), 15000, 'initialize');
        await withTimeout(transport.terminateSession(), 10000, 'DELETE');
        await client.close();
      }
      const client = new Client({ name: 'reader', version: '1.0.0' });
      await withTimeout(client.connect(new StreamableHTTPClientTransport(server.url)), 15000, 'initialize');
      const { structuredContent } = await client.callTool({ name: 'editor_search_logs', arguments: { pattern: 'session' } });
      assert.deepEqual(structuredContent.entries, [], JSON.stringify(structuredContent.entries.slice(0, 3)));
      const recent = await client.callTool({ name: 'editor_get_recent_logs', arguments: { count: 1000 } });
      assert.ok(!recent.structuredContent.entries.some((e) => /http:|stdio:/.test(e.message)));
      await client.close();
      // They went to stderr instead, at --log-level verbose.
      assert.match(server.stderr(), /http: session [0-9a-f]{32} opened/);
      assert.match(server.stderr(), /http: session [0-9a-f]{32} ended by the client/);
    } finally {
      await server.stop();
    }
  });
});
