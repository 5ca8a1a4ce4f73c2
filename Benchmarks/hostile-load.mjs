#!/usr/bin/env node
// Replays the hostile inputs of docs/reliability.md against `tarnwick serve` at full size and reports, for each,
// what a well-behaved client saw meanwhile (the latency of its calls), the server's resident memory (before,
// peak, after) and whether it stayed up. The pass/fail version of the same runs is Tests/e2e/hostile.test.mjs;
// this one produces the figures.
//
//   node Benchmarks/hostile-load.mjs [--tarnwick PATH] [--only NAME,...] [--json OUT]
//
// Scenarios: deep (53,000 nested arrays as the first initialize, HTTP and stdio), refused-body (a 413 body kept
// streaming for 10 s), held-bodies (200 connections each holding a 4 MiB body one byte short), pipelining (250
// connections pipelining tools/list without reading), slowloris (300 connections trickling a head a byte at a
// time), stdio-stall (a stdio client that stops reading, then SIGTERM).
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { performance } from 'node:perf_hooks';
import { fileURLToPath, pathToFileURL } from 'node:url';

const Here = path.dirname(fileURLToPath(import.meta.url));
const RepoRoot = path.resolve(Here, '..');
const SdkDist = path.join(Here, 'sdk-baseline', 'node_modules', '@modelcontextprotocol', 'sdk', 'dist', 'esm');

function option(name, fallback) {
  const at = process.argv.indexOf(`--${name}`);
  return at >= 0 ? process.argv[at + 1] : fallback;
}
const TarnwickBin = path.resolve(option('tarnwick', path.join(RepoRoot, 'build/release/Programs/tarnwick/tarnwick')));
const Only = option('only', '') ? option('only', '').split(',') : null;
const JsonOut = option('json', '');

const { Client } = await import(pathToFileURL(path.join(SdkDist, 'client/index.js')).href);
const { StreamableHTTPClientTransport } = await import(pathToFileURL(path.join(SdkDist, 'client/streamableHttp.js')).href);

const residentMiB = (pid) => {
  try {
    const match = /^VmRSS:\s+(\d+) kB$/m.exec(fs.readFileSync(`/proc/${pid}/status`, 'utf8'));
    return match ? Number(match[1]) / 1024 : NaN;
  } catch {
    return NaN;
  }
};
const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
const rpc = (id, method, params = {}) => JSON.stringify({ jsonrpc: '2.0', id, method, params });
const freePort = () => new Promise((resolve) => {
  const server = net.createServer().listen(0, '127.0.0.1', () => { const { port } = server.address(); server.close(() => resolve(port)); });
});
const connect = (port) => new Promise((resolve, reject) => {
  const socket = net.connect({ host: '127.0.0.1', port }, () => resolve(socket));
  socket.once('error', reject);
});

function makeProject() {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnwick-load-'));
  fs.cpSync(path.join(RepoRoot, 'Samples', 'Arena'), dir, { recursive: true, filter: (src) => !/[\\/](Saved|Intermediate)$/.test(src) });
  return dir;
}

async function startServer(project) {
  const port = await freePort();
  const child = spawn(TarnwickBin, ['serve', '--project', project, '--http', `127.0.0.1:${port}`], { stdio: ['ignore', 'ignore', 'ignore'] });
  for (let i = 0; i < 300; i++) {
    try { (await connect(port)).destroy(); break; } catch { await sleep(50); }
  }
  const client = new Client({ name: 'bystander', version: '1' });
  await client.connect(new StreamableHTTPClientTransport(new URL(`http://127.0.0.1:${port}/mcp`)));
  await client.listTools();
  return { port, child, client };
}

/** Runs attack() while a bystander calls brindle_list_async_jobs in a loop and memory is sampled. */
async function measure(server, attack) {
  const before = residentMiB(server.child.pid);
  let peak = before;
  let stop = false;
  const sampler = (async () => { while (!stop) { peak = Math.max(peak, residentMiB(server.child.pid)); await sleep(20); } })();
  const latencies = [];
  let failures = 0;
  const bystander = (async () => {
    while (!stop) {
      const t0 = performance.now();
      try {
        await server.client.callTool({ name: 'brindle_list_async_jobs', arguments: {} });
        latencies.push(performance.now() - t0);
      } catch {
        failures += 1;
      }
      await sleep(50);
    }
  })();
  const started = performance.now();
  const detail = await attack();
  const seconds = (performance.now() - started) / 1000;
  stop = true;
  await Promise.all([sampler, bystander]);
  latencies.sort((a, b) => a - b);
  const pick = (q) => (latencies.length ? latencies[Math.min(latencies.length - 1, Math.floor(q * latencies.length))] : NaN);
  return {
    seconds: +seconds.toFixed(1),
    bystander: { calls: latencies.length, failures, medianMs: +pick(0.5).toFixed(1), maxMs: +pick(1).toFixed(1) },
    residentMiB: { before: +before.toFixed(1), peak: +peak.toFixed(1), after: +residentMiB(server.child.pid).toFixed(1) },
    alive: server.child.exitCode === null && server.child.signalCode === null,
    ...detail,
  };
}

function flood(socket, chunk, limit, ms) {
  return new Promise((resolve) => {
    let written = 0;
    let done = false;
    const deadline = performance.now() + ms;
    const finish = () => { if (!done) { done = true; resolve(written); } };
    socket.on('error', finish);
    socket.on('close', finish);
    const pump = () => {
      while (!done && written < limit && performance.now() < deadline) {
        const n = Math.min(chunk.length, limit - written);
        written += n;
        if (!socket.write(chunk.subarray(0, n))) { socket.once('drain', pump); return; }
      }
      if (written >= limit || performance.now() >= deadline) finish();
    };
    pump();
  });
}

const Scenarios = {
  async deep(server) {
    return measure(server, async () => {
      const body = `{"jsonrpc":"2.0","id":1,"method":"initialize","params":{"x":${'['.repeat(53000)}${']'.repeat(53000)}}}`;
      const t0 = performance.now();
      const response = await fetch(`http://127.0.0.1:${server.port}/mcp`, { method: 'POST', body,
        headers: { 'Content-Type': 'application/json', Accept: 'application/json, text/event-stream' } });
      const answer = await response.json();
      return { bytes: body.length, status: response.status, code: answer.error?.code, answerMs: +(performance.now() - t0).toFixed(1) };
    });
  },
  async 'refused-body'(server) {
    return measure(server, async () => {
      const socket = await connect(server.port);
      socket.on('data', () => {});
      socket.write('POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100000000000\r\n\r\n');
      const taken = await flood(socket, Buffer.alloc(256 * 1024, 'x'), 64 * 1024 ** 3, 10000);
      socket.destroy();
      return { bytesTakenBeforeClose: taken };
    });
  },
  async 'held-bodies'(server) {
    return measure(server, async () => {
      const limit = 4 * 1024 * 1024;
      const sockets = await Promise.all(Array.from({ length: 200 }, () => connect(server.port)));
      const piece = Buffer.alloc(256 * 1024, 'y');
      await Promise.all(sockets.map((socket) => {
        socket.on('data', () => {});
        socket.write(`POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: ${limit}\r\n\r\n`);
        return flood(socket, piece, limit - 1, 30000);
      }));
      await sleep(2000);
      const open = sockets.filter((s) => !s.destroyed && s.readyState === 'open').length;
      for (const socket of sockets) socket.destroy();
      return { connections: 200, stillOpen: open };
    });
  },
  async pipelining(server) {
    const init = await fetch(`http://127.0.0.1:${server.port}/mcp`, { method: 'POST',
      headers: { 'Content-Type': 'application/json', Accept: 'application/json, text/event-stream' },
      body: rpc(1, 'initialize', { protocolVersion: '2025-11-25', capabilities: {}, clientInfo: { name: 'p', version: '1' } }) });
    const session = init.headers.get('mcp-session-id');
    await init.arrayBuffer();
    return measure(server, async () => {
      const one = `POST /mcp HTTP/1.1\r\nHost: 127.0.0.1\r\nMcp-Session-Id: ${session}\r\nContent-Length: ${rpc(2, 'tools/list').length}\r\n\r\n${rpc(2, 'tools/list')}`;
      const sockets = await Promise.all(Array.from({ length: 250 }, () => connect(server.port)));
      for (const socket of sockets) { socket.on('error', () => {}); socket.pause(); socket.write(one.repeat(100)); }
      await sleep(10000);
      for (const socket of sockets) socket.destroy();
      return { connections: 250, pipelinedEach: 100 };
    });
  },
  async slowloris(server) {
    return measure(server, async () => {
      const sockets = await Promise.all(Array.from({ length: 300 }, () => connect(server.port)));
      let timedOut = 0;
      let closedUnanswered = 0;
      for (const socket of sockets) {
        let answer = '';
        socket.on('error', () => {});
        socket.on('data', (chunk) => { answer += chunk; });
        socket.on('close', () => { if (/^HTTP\/1\.1 408 /.test(answer)) timedOut += 1; else closedUnanswered += 1; });
        socket.write('POST /mcp HTTP/1.1\r\nHost: 127');
      }
      const trickle = setInterval(() => { for (const s of sockets) if (!s.destroyed) s.write('.'); }, 1000);
      await sleep(15000);
      clearInterval(trickle);
      for (const socket of sockets) socket.destroy();
      return { connections: 300, answered408: timedOut, closedToMakeRoom: closedUnanswered };
    });
  },
};

async function stdioStall(project) {
  const child = spawn(TarnwickBin, ['serve', '--stdio', '--project', project, '--log-level', 'verbose'], { stdio: ['pipe', 'pipe', 'pipe'] });
  child.stdout.pause();
  child.stdin.on('error', () => {});
  const paused = new Promise((resolve) => {
    let seen = '';
    child.stderr.on('data', (chunk) => { seen += chunk; if (/reading no further request/.test(seen)) resolve(); });
  });
  child.stdin.write(`${rpc(1, 'tools/list')}\n`.repeat(2000));
  await paused;
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
  const resident = residentMiB(child.pid);
  const t0 = performance.now();
  child.kill('SIGTERM');
  const { code, signal } = await exited;
  return { residentMiBWhilePaused: +resident.toFixed(1), exitAfterSigtermMs: +(performance.now() - t0).toFixed(1), code, signal };
}

const results = {};
const project = makeProject();
try {
  for (const [name, run] of Object.entries(Scenarios)) {
    if (Only && !Only.includes(name)) continue;
    const server = await startServer(project);
    try {
      results[name] = await run(server);
    } finally {
      await server.client.close().catch(() => {});
      server.child.kill('SIGTERM');
    }
    console.log(name, JSON.stringify(results[name]));
  }
  if (!Only || Only.includes('stdio-stall')) {
    results['stdio-stall'] = await stdioStall(project);
    console.log('stdio-stall', JSON.stringify(results['stdio-stall']));
  }
} finally {
  fs.rmSync(project, { recursive: true, force: true });
}
if (JsonOut) fs.writeFileSync(JsonOut, JSON.stringify(results, null, 2));
