// The official MCP client speaking newline-delimited JSON-RPC to `tarnwick serve --stdio` as a child process.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { after, before, describe, test } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

import { TarnwickBin, isGone, makeTempProject, removeTempProject, rpc, withTimeout } from './helpers.mjs';
import {
  checkCoreToolsListed, checkListJobs, checkServerInfo, checkUnknownJobIsToolError, checkUnknownToolIsRpcError,
} from './shared-checks.mjs';

describe('stdio transport', { timeout: 60000 }, () => {
  let projectDir;
  let transport;
  let client;

  before(async () => {
    projectDir = makeTempProject();
    transport = new StdioClientTransport({
      command: TarnwickBin,
      args: ['serve', '--stdio', '--project', projectDir],
      stderr: 'inherit',
    });
    client = new Client({ name: 'tarnwick-e2e', version: '1.0.0' });
    await withTimeout(client.connect(transport), 15000, 'initialize over stdio');
  });

  after(async () => {
    const pid = transport?.pid;
    await withTimeout(client?.close() ?? Promise.resolve(), 10000, 'the stdio client to close');
    if (pid) {
      assert.ok(isGone(pid), `tarnwick (pid ${pid}) is still running after close`);
    }
    removeTempProject(projectDir);
  });

  test('initialize negotiates a version and names the server', async () => {
    await checkServerInfo(client);
  });

  test('the core job tools are listed with input schemas', async () => {
    await withTimeout(checkCoreToolsListed(client), 10000, 'tools/list');
  });

  test('listing jobs returns structured content', async () => {
    await withTimeout(checkListJobs(client), 10000, 'brindle_list_async_jobs');
  });

  test('an unknown job id is a tool error with a message', async () => {
    await withTimeout(checkUnknownJobIsToolError(client), 10000, 'brindle_get_async_job');
  });

  test('an unknown tool is a JSON-RPC invalid-params error', async () => {
    await withTimeout(checkUnknownToolIsRpcError(client), 10000, 'tools/call of an unknown tool');
  });

  test('concurrent calls are all answered', async () => {
    const calls = Array.from({ length: 8 }, () => client.callTool({ name: 'brindle_list_async_jobs', arguments: {} }));
    const results = await withTimeout(Promise.all(calls), 15000, 'eight concurrent calls');
    for (const result of results) {
      assert.deepEqual(result.structuredContent.jobs, []);
    }
  });

});

describe('stdio framing with a raw child', { timeout: 30000 }, () => {
  let projectDir;

  before(() => { projectDir = makeTempProject(); });
  after(() => removeTempProject(projectDir));

  test('only JSON-RPC lines reach stdout, logs go to stderr, and end of input ends the server', async () => {
    const child = spawn(TarnwickBin, ['serve', '--stdio', '--project', projectDir, '--log-level', 'verbose'], {
      stdio: ['pipe', 'pipe', 'pipe'],
    });
    let stdout = '';
    let stderr = '';
    child.stdout.on('data', (chunk) => { stdout += chunk; });
    child.stderr.on('data', (chunk) => { stderr += chunk; });
    const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
    try {
      child.stdin.write([
        rpc(1, 'initialize', { protocolVersion: '2025-06-18', capabilities: {}, clientInfo: { name: 'raw', version: '1' } }),
        JSON.stringify({ jsonrpc: '2.0', method: 'notifications/initialized' }),
        '{"jsonrpc": "2.0", "id": 2, "method": ',
        `[${rpc(3, 'ping')}]`,
        rpc(4, 'tools/call', { name: 'brindle_list_async_jobs', arguments: {} }),
      ].join('\n') + '\n');
      child.stdin.end();
      const { code } = await withTimeout(exited, 15000, 'tarnwick to exit at the end of its input');
      assert.equal(code, 0, stderr);
    } finally {
      if (child.exitCode === null && child.signalCode === null) {
        child.kill('SIGKILL');
      }
    }

    const messages = stdout.trimEnd().split('\n').map((line) => JSON.parse(line));
    assert.deepEqual(messages.map((m) => m.id ?? null).sort(), [1, 4, null, null].sort());
    const byId = Object.fromEntries(messages.filter((m) => m.id != null).map((m) => [m.id, m]));
    assert.equal(byId[1].result.serverInfo.name, 'tarnwick');
    assert.deepEqual(byId[4].result.structuredContent.jobs, []);
    const errors = messages.filter((m) => m.id === null).map((m) => m.error.code).sort();
    assert.deepEqual(errors, [-32700, -32600].sort());
    assert.match(stderr, /input ended/);
  });
});
