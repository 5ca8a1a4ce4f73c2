// The official MCP client over Streamable HTTP against `tarnwick serve --http` as a child process, plus raw
// requests for the refusals the client never makes on its own.
import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';

import {
  JsonHeaders, isGone, makeTempProject, removeTempProject, rpc, startHttpServer, withTimeout,
} from './helpers.mjs';
import {
  checkCoreToolsListed, checkListJobs, checkServerInfo, checkUnknownJobIsToolError, checkUnknownToolIsRpcError,
} from './shared-checks.mjs';

function post(url, body, headers = {}) {
  return fetch(url, { method: 'POST', headers: { ...JsonHeaders, ...headers }, body, signal: AbortSignal.timeout(10000) });
}

describe('Streamable HTTP transport', { timeout: 90000 }, () => {
  let projectDir;
  let server;
  let transport;
  let client;

  before(async () => {
    projectDir = makeTempProject();
    server = await startHttpServer(projectDir);
    transport = new StreamableHTTPClientTransport(server.url);
    client = new Client({ name: 'tarnwick-e2e', version: '1.0.0' });
    await withTimeout(client.connect(transport), 15000, 'initialize over HTTP');
  });

  after(async () => {
    try {
      await withTimeout(client?.close() ?? Promise.resolve(), 10000, 'the HTTP client to close');
    } finally {
      const pid = server?.child.pid;
      await server?.stop();
      if (pid) {
        assert.ok(isGone(pid), `tarnwick (pid ${pid}) is still running`);
      }
      removeTempProject(projectDir);
    }
  });

  test('initialize issues a session id and names the server', async () => {
    await checkServerInfo(client);
    assert.match(transport.sessionId ?? '', /^[\x21-\x7e]+$/);
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

  test('a made-up session id is not found', async () => {
    const response = await post(server.url, rpc(1, 'tools/list'), {
      'Mcp-Session-Id': 'made-up-session-0123456789abcdef',
      'MCP-Protocol-Version': '2025-06-18',
    });
    assert.equal(response.status, 404);
    const body = await response.json();
    assert.equal(body.jsonrpc, '2.0');
    assert.ok(body.error?.message, 'the refusal says why');
  });

  test('a request without a session id after initialize is refused', async () => {
    const response = await post(server.url, rpc(2, 'tools/list'));
    assert.equal(response.status, 400);
    await response.arrayBuffer();
  });

  test('a foreign Origin is forbidden', async () => {
    const response = await post(server.url, rpc(3, 'tools/list'), {
      'Mcp-Session-Id': transport.sessionId,
      Origin: 'http://evil.example',
    });
    assert.equal(response.status, 403);
    await response.arrayBuffer();
  });

  test('GET opens the session\'s event stream', async () => {
    const controller = new AbortController();
    const response = await fetch(server.url, {
      headers: { Accept: 'text/event-stream', 'Mcp-Session-Id': transport.sessionId },
      signal: controller.signal,
    });
    assert.equal(response.status, 200);
    assert.equal(response.headers.get('content-type'), 'text/event-stream');
    const reader = response.body.getReader();
    const { value } = await withTimeout(reader.read(), 10000, 'the stream\'s first bytes');
    assert.match(new TextDecoder().decode(value), /^retry: \d+/);
    controller.abort();
  });

  test('a session ended with DELETE is gone', async () => {
    // A second client so the shared one keeps its session for the other tests.
    const own = new StreamableHTTPClientTransport(server.url);
    const second = new Client({ name: 'tarnwick-e2e-second', version: '1.0.0' });
    await withTimeout(second.connect(own), 15000, 'a second initialize');
    const sessionId = own.sessionId;
    assert.ok(sessionId);
    await withTimeout(own.terminateSession(), 10000, 'DELETE of the session');
    const response = await post(server.url, rpc(4, 'tools/list'), {
      'Mcp-Session-Id': sessionId,
      'MCP-Protocol-Version': '2025-06-18',
    });
    assert.equal(response.status, 404);
    await response.arrayBuffer();
    await second.close();
  });
});

describe('Streamable HTTP with a bearer token', { timeout: 60000 }, () => {
  let projectDir;
  let server;

  before(async () => {
    projectDir = makeTempProject();
    server = await startHttpServer(projectDir, ['--token', 'e2e-token']);
  });

  after(async () => {
    await server?.stop();
    removeTempProject(projectDir);
  });

  test('requests without the token are unauthorized', async () => {
    const response = await post(server.url, rpc(1, 'initialize', {
      protocolVersion: '2025-06-18', capabilities: {}, clientInfo: { name: 'raw', version: '1' },
    }));
    assert.equal(response.status, 401);
    assert.match(response.headers.get('www-authenticate') ?? '', /^Bearer/);
    await response.arrayBuffer();
  });

  test('the official client connects with the token', async () => {
    const transport = new StreamableHTTPClientTransport(server.url, {
      requestInit: { headers: { Authorization: 'Bearer e2e-token' } },
    });
    const client = new Client({ name: 'tarnwick-e2e', version: '1.0.0' });
    await withTimeout(client.connect(transport), 15000, 'initialize with a token');
    await withTimeout(checkListJobs(client), 10000, 'brindle_list_async_jobs with a token');
    await client.close();
  });
});
