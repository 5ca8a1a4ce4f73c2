// Hostile input replayed against a running `tarnwick serve`: nesting deep enough to overflow a recursive copy,
// bodies the server refused that keep coming, many connections holding big bodies or pipelining without
// reading, slow clients holding every connection, doubled headers, and a stdio client that stops reading. Each
// time the server stays up, its memory stays bounded, and another client is still answered.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import { after, before, describe, test } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StreamableHTTPClientTransport } from '@modelcontextprotocol/sdk/client/streamableHttp.js';

import {
  JsonHeaders, TarnwickBin, makeTempProject, removeTempProject, residentMiB, rpc, startHttpServer, withTimeout,
} from './helpers.mjs';

const deepArray = (depth) => '['.repeat(depth) + ']'.repeat(depth);

/** Opens a raw connection; resolves once connected. */
function connect(port) {
  return new Promise((resolve, reject) => {
    const socket = net.connect({ host: '127.0.0.1', port }, () => resolve(socket));
    socket.once('error', reject);
  });
}

/** Everything a socket receives until it closes (or `ms` pass). */
function readAll(socket, ms = 15000) {
  return withTimeout(new Promise((resolve) => {
    let data = '';
    socket.on('data', (chunk) => { data += chunk; });
    socket.on('close', () => resolve(data));
    socket.on('error', () => {});
  }), ms, 'the server to close the connection');
}

/** Writes `chunk` again and again until the server stops taking it; how many bytes it took. */
function flood(socket, chunk, limit) {
  return new Promise((resolve) => {
    let written = 0;
    let done = false;
    const finish = () => { if (!done) { done = true; resolve(written); } };
    socket.on('error', finish);
    socket.on('close', finish);
    const pump = () => {
      while (!done && written < limit) {
        written += chunk.length;
        if (!socket.write(chunk)) {
          socket.once('drain', pump);
          return;
        }
      }
      if (written >= limit) finish();
    };
    pump();
  });
}

describe('hostile HTTP input', { timeout: 240000 }, () => {
  let projectDir;
  let server;
  let client;
  let baseline;

  /** The other client: still answered. */
  async function stillAnswers(what) {
    const result = await withTimeout(client.callTool({ name: 'brindle_list_async_jobs', arguments: {} }), 20000,
      `another client's call during ${what}`);
    assert.deepEqual(result.structuredContent.jobs, []);
  }

  function checkMemory(what, allowanceMiB) {
    // AddressSanitizer keeps freed memory in quarantine and shadows the rest: resident size says nothing there.
    if (fs.readFileSync(`/proc/${server.child.pid}/maps`, 'utf8').includes('libasan')) return;
    const now = residentMiB(server.child.pid);
    assert.ok(now < baseline + allowanceMiB, `${what}: ${now.toFixed(0)} MiB resident, started at ${baseline.toFixed(0)} MiB`);
  }

  before(async () => {
    projectDir = makeTempProject();
    server = await startHttpServer(projectDir);
    client = new Client({ name: 'tarnwick-e2e-bystander', version: '1.0.0' });
    await withTimeout(client.connect(new StreamableHTTPClientTransport(server.url)), 15000, 'initialize');
    await client.listTools();
    baseline = residentMiB(server.child.pid);
  });

  after(async () => {
    await client?.close().catch(() => {});
    const alive = server && server.child.exitCode === null && server.child.signalCode === null;
    await server?.stop();
    removeTempProject(projectDir);
    assert.ok(alive, 'the server was still running at the end');
  });

  test('nesting 53,000 arrays deep as the first initialize is refused under its id', async () => {
    const body = `{"jsonrpc":"2.0","id":"deep","method":"initialize","params":{"x":${deepArray(53000)}}}`;
    const response = await fetch(server.url, { method: 'POST', headers: JsonHeaders, body, signal: AbortSignal.timeout(10000) });
    assert.equal(response.status, 400);
    const answer = await response.json();
    assert.equal(answer.id, 'deep');
    assert.equal(answer.error.code, -32600);
    assert.match(answer.error.message, /deeper than 256 levels/);
    await stillAnswers('deep nesting');
  });

  test('a refused body that keeps coming is not read: the connection closes', async () => {
    const socket = await connect(server.port);
    const answer = readAll(socket);
    socket.write('POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100000000000\r\n\r\n');
    const [taken] = await Promise.all([flood(socket, Buffer.alloc(256 * 1024, 'x'), 2 * 1024 ** 3), stillAnswers('a refused body')]);
    assert.ok(taken < 128 * 1024 ** 2, `the server let ${taken} bytes in before closing`);
    assert.match(await answer, /^HTTP\/1\.1 413 /);
    checkMemory('a refused body', 64);
  });

  test('200 connections each holding a 4 MiB body one byte short stay within the memory bound', async () => {
    const limit = 4 * 1024 * 1024;
    const head = `POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: ${limit}\r\n\r\n`;
    const piece = Buffer.alloc(256 * 1024, 'y');
    const sockets = await Promise.all(Array.from({ length: 200 }, () => connect(server.port)));
    await Promise.all(sockets.map((socket) => {
      socket.on('error', () => {});
      socket.write(head);
      return flood(socket, piece, limit - 1);
    }));
    await stillAnswers('200 held bodies');
    checkMemory('200 held bodies', 120);
    for (const socket of sockets) socket.destroy();
  });

  test('connections pipelining tools/list without reading do not keep another client waiting', async () => {
    const init = await fetch(server.url, {
      method: 'POST', headers: JsonHeaders, signal: AbortSignal.timeout(10000),
      body: rpc(1, 'initialize', { protocolVersion: '2025-11-25', capabilities: {}, clientInfo: { name: 'p', version: '1' } }),
    });
    const session = init.headers.get('mcp-session-id');
    await init.arrayBuffer();
    const one = `POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nMcp-Session-Id: ${session}\r\nContent-Length: ${rpc(2, 'tools/list').length}\r\n\r\n${rpc(2, 'tools/list')}`;
    const sockets = await Promise.all(Array.from({ length: 100 }, () => connect(server.port)));
    for (const socket of sockets) {
      socket.on('error', () => {});
      socket.pause();
      socket.write(one.repeat(20));
    }
    await stillAnswers('100 connections pipelining');
    checkMemory('100 connections pipelining', 200);
    for (const socket of sockets) socket.destroy();
  });

  test('slow clients holding every connection make room for a new one', async () => {
    const sockets = await Promise.all(Array.from({ length: 300 }, () => connect(server.port)));
    for (const socket of sockets) {
      socket.on('error', () => {});
      socket.write('POST /mcp HTTP/1.1\r\nHost: 127');
    }
    const trickle = setInterval(() => { for (const socket of sockets) if (!socket.destroyed) socket.write('.'); }, 200);
    try {
      await stillAnswers('300 slow clients');
    } finally {
      clearInterval(trickle);
      for (const socket of sockets) socket.destroy();
    }
  });

  test('two Host headers, two Origin headers or no Host are refused', async () => {
    const cases = [
      ['POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nHost: evil.example\r\n', /^HTTP\/1\.1 400 /],
      ['POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nOrigin: http://localhost\r\nOrigin: http://evil.example\r\n', /^HTTP\/1\.1 403 /],
      ['POST /mcp HTTP/1.1\r\n', /^HTTP\/1\.1 400 /],
    ];
    for (const [head, status] of cases) {
      const socket = await connect(server.port);
      const answer = readAll(socket);
      const body = rpc(1, 'initialize', { protocolVersion: '2025-11-25', capabilities: {}, clientInfo: { name: 'x', version: '1' } });
      socket.end(`${head}Content-Length: ${body.length}\r\nConnection: close\r\n\r\n${body}`);
      assert.match(await answer, status, head);
    }
  });
});

describe('hostile stdio input', { timeout: 60000 }, () => {
  let projectDir;

  before(() => { projectDir = makeTempProject(); });
  after(() => removeTempProject(projectDir));

  function startStdio(extraArgs = []) {
    const child = spawn(TarnwickBin, ['serve', '--stdio', '--project', projectDir, ...extraArgs], { stdio: ['pipe', 'pipe', 'pipe'] });
    const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
    let stderr = '';
    child.stderr.on('data', (chunk) => { stderr += chunk; });
    return { child, exited, stderr: () => stderr };
  }

  test('deep nesting is refused under its id and the server keeps serving', async () => {
    const { child, exited } = startStdio();
    let out = '';
    child.stdout.on('data', (chunk) => { out += chunk; });
    child.stdin.write(`{"jsonrpc":"2.0","id":1,"method":"initialize","params":{"x":${deepArray(53000)}}}\n`);
    child.stdin.write(`${rpc(2, 'initialize', { protocolVersion: '2025-11-25', capabilities: {}, clientInfo: { name: 'x', version: '1' } })}\n`);
    child.stdin.end();
    const { code } = await withTimeout(exited, 15000, 'the server to finish');
    assert.equal(code, 0);
    const [refusal, answer] = out.trimEnd().split('\n').map((line) => JSON.parse(line));
    assert.equal(refusal.id, 1);
    assert.equal(refusal.error.code, -32600);
    assert.equal(answer.id, 2);
    assert.equal(answer.result.serverInfo.name, 'tarnwick');
  });

  test('a client that stops reading does not stop the frame loop: the server still ends on SIGTERM', async () => {
    const { child, exited } = startStdio(['--log-level', 'verbose']);
    child.stdout.pause();
    child.stdin.on('error', () => {});
    const paused = new Promise((resolve) => {
      let seen = '';
      child.stderr.on('data', (chunk) => {
        seen += chunk;
        if (/reading no further request until the client catches up/.test(seen)) resolve();
      });
    });
    child.stdin.write(`${rpc(1, 'tools/list')}\n`.repeat(200));
    // The server says when it stops reading; its game thread must not be stuck in write() meanwhile.
    await withTimeout(paused, 20000, 'the server to stop reading a client that does not read');
    child.kill('SIGTERM');
    const { code, signal } = await withTimeout(exited, 10000, 'the server to end after SIGTERM');
    assert.equal(signal, null, 'it ended by itself, not by a second signal');
    assert.equal(code, 0);
  });
});
