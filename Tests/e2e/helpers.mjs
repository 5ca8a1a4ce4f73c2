// Shared pieces of the end-to-end tests: where the executable is, a throw-away project folder, a free port,
// and starting/stopping a `tarnwick serve --http` child with every wait bounded.
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import assert from 'node:assert/strict';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

export const TarnwickBin = process.env.TARNWICK_BIN;
if (!TarnwickBin) {
  throw new Error('TARNWICK_BIN must name the tarnwick executable (ctest sets it)');
}

/** A copy of the sample project in a fresh temp folder, so a run never writes into the source tree. */
export function makeTempProject() {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnwick-e2e-'));
  const sample = path.join(process.env.TARNWICK_SOURCE_DIR ?? path.resolve(import.meta.dirname, '../..'), 'Samples', 'Arena');
  fs.cpSync(sample, dir, { recursive: true, filter: (src) => !/[\\/](Saved|Intermediate)$/.test(src) });
  return dir;
}

export function removeTempProject(dir) {
  if (dir) {
    fs.rmSync(dir, { recursive: true, force: true });
  }
}

/** A port nobody listens on right now (the kernel picks it). */
export function freePort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.once('error', reject);
    server.listen(0, '127.0.0.1', () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

/** Rejects after `ms`, naming what was being waited for. */
export function withTimeout(promise, ms, what) {
  let timer;
  const timeout = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`timed out after ${ms} ms waiting for ${what}`)), ms);
  });
  return Promise.race([promise, timeout]).finally(() => clearTimeout(timer));
}

function tryConnect(port) {
  return new Promise((resolve) => {
    const socket = net.connect({ host: '127.0.0.1', port });
    socket.once('connect', () => { socket.destroy(); resolve(true); });
    socket.once('error', () => { socket.destroy(); resolve(false); });
  });
}

/** True when the process with this pid no longer exists. */
export function isGone(pid) {
  try {
    process.kill(pid, 0);
    return false;
  } catch (error) {
    return error.code === 'ESRCH';
  }
}

/** Starts `tarnwick serve --http 127.0.0.1:<port>` and resolves once it accepts connections. */
export async function startHttpServer(projectDir, extraArgs = [], env = undefined) {
  const port = await freePort();
  const child = spawn(TarnwickBin, ['serve', '--project', projectDir, '--http', `127.0.0.1:${port}`, ...extraArgs], {
    stdio: ['ignore', 'ignore', 'pipe'],
    env: env ? { ...process.env, ...env } : process.env,
  });
  let stderr = '';
  child.stderr.on('data', (chunk) => { stderr += chunk; });
  const exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));

  const deadline = Date.now() + 15000;
  while (true) {
    if (child.exitCode !== null || child.signalCode !== null) {
      throw new Error(`tarnwick serve exited early (${child.exitCode ?? child.signalCode}):\n${stderr}`);
    }
    if (await tryConnect(port)) {
      break;
    }
    if (Date.now() > deadline) {
      child.kill('SIGKILL');
      throw new Error(`tarnwick serve did not accept connections on port ${port} within 15 s:\n${stderr}`);
    }
    await new Promise((resolve) => setTimeout(resolve, 50));
  }

  return {
    port,
    url: new URL(`http://127.0.0.1:${port}/mcp`),
    child,
    stderr: () => stderr,
    /** SIGTERM, then SIGKILL if it lingers; resolves once the process is gone. */
    async stop() {
      if (child.exitCode !== null || child.signalCode !== null) {
        return;
      }
      child.kill('SIGTERM');
      try {
        await withTimeout(exited, 5000, 'tarnwick serve to exit after SIGTERM');
      } catch {
        child.kill('SIGKILL');
        await withTimeout(exited, 5000, 'tarnwick serve to exit after SIGKILL');
      }
    },
  };
}

/** A JSON-RPC request as the raw HTTP tests post it. */
export function rpc(id, method, params = {}) {
  return JSON.stringify({ jsonrpc: '2.0', id, method, params });
}

export const JsonHeaders = {
  'Content-Type': 'application/json',
  Accept: 'application/json, text/event-stream',
};

/** The resident memory of a process in MiB, from /proc. */
export function residentMiB(pid) {
  const status = fs.readFileSync(`/proc/${pid}/status`, 'utf8');
  const match = /^VmRSS:\s+(\d+) kB$/m.exec(status);
  return match ? Number(match[1]) / 1024 : NaN;
}

/** Runs a command to its end; resolves with its exit code, stdout and stderr. Killed after `ms`. */
export function run(command, args, { env, cwd, input, ms = 60000 } = {}) {
  return new Promise((resolve, reject) => {
    const child = spawn(command, args, { env: env ? { ...process.env, ...env } : process.env, cwd, stdio: ['pipe', 'pipe', 'pipe'] });
    let stdout = '';
    let stderr = '';
    child.stdout.on('data', (chunk) => { stdout += chunk; });
    child.stderr.on('data', (chunk) => { stderr += chunk; });
    const timer = setTimeout(() => { child.kill('SIGKILL'); reject(new Error(`${command} ${args.join(' ')} ran past ${ms} ms\n${stderr}`)); }, ms);
    child.once('error', reject);
    child.once('exit', (code, signal) => { clearTimeout(timer); resolve({ code, signal, stdout, stderr }); });
    // A command that exits before reading its input (a refusal at start-up) leaves the pipe broken: no matter.
    child.stdin.on('error', () => {});
    child.stdin.end(input ?? '');
  });
}

/** Writes a project's plugin settings (Config/DefaultTarnwick.ini). */
export function writeSettings(projectDir, lines) {
  fs.writeFileSync(path.join(projectDir, 'Config', 'DefaultTarnwick.ini'),
    `[/Script/TarnwickCore.TarnwickSettings]\n${lines.join('\n')}\n`);
}

/** The official SDK client connected to a `tarnwick serve --stdio` child of its own. */
export async function connectStdio(projectDir, { clientName, args = [], stderr = 'ignore' }) {
  const transport = new StdioClientTransport({
    command: TarnwickBin,
    args: ['serve', '--stdio', '--project', projectDir, ...args],
    stderr,
  });
  const client = new Client({ name: clientName, version: '1.0.0' });
  await withTimeout(client.connect(transport), 15000, 'initialize over stdio');
  return client;
}

/** Calls a tool that must succeed and answers its structured content. */
export async function call(client, name, args = {}) {
  const result = await withTimeout(client.callTool({ name, arguments: args }), 10000, name);
  assert.notEqual(result.isError, true, `${name}: ${JSON.stringify(result.content)}`);
  return result.structuredContent;
}

/** Polls probe every 10 ms until it holds, failing the test after ms milliseconds. */
export async function until(what, probe, ms = 10000) {
  for (const end = Date.now() + ms; Date.now() < end;) {
    if (await probe()) return;
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  assert.fail(`timed out waiting for ${what}`);
}
