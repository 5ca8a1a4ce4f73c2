// The command line as the README describes it: `tarnwick call` on its own editor and against a running server
// (--url), the token from the environment, the loopback rule, the port check of `make run`, a disabled
// namespace, and a project file the editor cannot read.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import net from 'node:net';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

import {
  JsonHeaders, TarnwickBin, freePort, makeTempProject, removeTempProject, rpc, run, startHttpServer, withTimeout, writeSettings,
} from './helpers.mjs';

const SourceDir = process.env.TARNWICK_SOURCE_DIR ?? path.resolve(import.meta.dirname, '../..');

/** A port someone else listens on for the duration of fn. */
async function withTakenPort(fn) {
  const blocker = net.createServer();
  await new Promise((resolve) => blocker.listen(0, '127.0.0.1', resolve));
  try {
    return await fn(blocker.address().port);
  } finally {
    await new Promise((resolve) => blocker.close(resolve));
  }
}

describe('tarnwick call', { timeout: 120000 }, () => {
  let projectDir;
  let server;

  before(async () => {
    projectDir = makeTempProject();
    // The token comes from the environment, so it never shows on the command line.
    server = await startHttpServer(projectDir, [], { TARNWICK_TOKEN: 'from-the-environment' });
  });

  after(async () => {
    await server?.stop();
    removeTempProject(projectDir);
  });

  test('--token can come from TARNWICK_TOKEN, and ps does not show it', async () => {
    const cmdline = fs.readFileSync(`/proc/${server.child.pid}/cmdline`, 'utf8');
    assert.ok(!cmdline.includes('from-the-environment'), cmdline);
    const refused = await fetch(server.url, { method: 'POST', headers: JsonHeaders, body: rpc(1, 'ping'), signal: AbortSignal.timeout(10000) });
    assert.equal(refused.status, 401);
    await refused.arrayBuffer();
  });

  test('--url calls the running server, with the token from the environment', async () => {
    const env = { TARNWICK_TOKEN: 'from-the-environment' };
    const ok = await run(TarnwickBin, ['call', '--url', server.url.href, 'editor_tail_log', '{"count": 1}'], { env });
    assert.equal(ok.code, 0, ok.stderr);
    assert.equal(JSON.parse(ok.stdout).count, 1);

    const failed = await run(TarnwickBin, ['call', '--url', server.url.href, 'editor_pause_pie'], { env });
    assert.equal(failed.code, 1);
    assert.deepEqual(JSON.parse(failed.stdout), { error: { code: -32603, message: 'No PIE session is active' } });

    const unknown = await run(TarnwickBin, ['call', '--url', server.url.href, 'editor_tail_logs'], { env });
    assert.equal(unknown.code, 1);
    assert.match(JSON.parse(unknown.stdout).error.message, /did you mean 'editor_tail_log'/);

    const noToken = await run(TarnwickBin, ['call', '--url', server.url.href, 'editor_tail_log'], { env: { TARNWICK_TOKEN: '' } });
    assert.notEqual(noToken.code, 0);
    assert.match(noToken.stdout + noToken.stderr, /Unauthorized/);
  });

  test('without --url it starts its own editor and checks arguments the same way', async () => {
    const mistyped = await run(TarnwickBin, ['call', '--project', projectDir, '--clock', 'virtual', 'editor_tail_log', '{"count": "five"}']);
    assert.equal(mistyped.code, 1);
    assert.deepEqual(JSON.parse(mistyped.stdout), { error: { code: -32602,
      message: "Wrong type for editor_tail_log: 'count' must be an integer, got the string \"five\"." } });
  });

  test('a server that is not there is said so', async () => {
    const port = await freePort();
    const result = await run(TarnwickBin, ['call', '--url', `http://127.0.0.1:${port}/mcp`, 'editor_tail_log']);
    assert.equal(result.code, 2);
    assert.match(result.stderr, /cannot connect to 127\.0\.0\.1:\d+/);
  });
});

describe('tarnwick serve', { timeout: 180000 }, () => {
  let projectDir;

  before(() => { projectDir = makeTempProject(); });
  after(() => removeTempProject(projectDir));

  test('anything but loopback needs --allow-remote, and then a token', async () => {
    const port = await freePort();
    const refused = await run(TarnwickBin, ['serve', '--project', projectDir, '--http', `0.0.0.0:${port}`]);
    assert.equal(refused.code, 2);
    assert.match(refused.stderr, /refusing to listen on 0\.0\.0\.0:\d+: it is not a loopback address/);
    const tokenless = await run(TarnwickBin, ['serve', '--project', projectDir, '--http', `0.0.0.0:${port}`, '--allow-remote'],
      { env: { TARNWICK_TOKEN: '' } });
    assert.equal(tokenless.code, 2);
    assert.match(tokenless.stderr, /--allow-remote needs a token/);
  });

  test('with --allow-remote and a token it serves hosts by other names', async () => {
    const server = await startHttpServer(projectDir, ['--allow-remote', '--token', 't0k'], undefined);
    try {
      const response = await fetch(server.url, {
        method: 'POST',
        headers: { ...JsonHeaders, Authorization: 'Bearer t0k', Host: `editor.example:${server.port}` },
        body: rpc(1, 'initialize', { protocolVersion: '2025-11-25', capabilities: {}, clientInfo: { name: 'x', version: '1' } }),
        signal: AbortSignal.timeout(10000),
      });
      assert.equal(response.status, 200);
      await response.arrayBuffer();
    } finally {
      await server.stop();
    }
  });

  test('a taken port is reported before any client configuration is printed', async () => {
    await withTakenPort(async (port) => {
      const result = await run(TarnwickBin, ['serve', '--project', projectDir, '--http', `127.0.0.1:${port}`, '--print-client-config']);
      assert.equal(result.code, 2);
      assert.match(result.stderr, new RegExp(`port ${port} on 127\\.0\\.0\\.1 is taken`));
      assert.doesNotMatch(result.stderr, /mcpServers/);
    });
  });

  test('make run takes HTTP=, builds only the server, links it at the root, and checks the port', async () => {
    // The preset of the executable under test, so make finds it built and builds nothing.
    const preset = path.basename(path.resolve(path.dirname(TarnwickBin), '../..'));
    const link = path.join(SourceDir, 'tarnwick');
    let previous = null;
    try { previous = fs.readlinkSync(link); } catch { /* no link yet */ }
    try {
      await withTakenPort(async (port) => {
        const result = await run('make', ['--no-print-directory', 'run', `HTTP=127.0.0.1:${port}`, `PRESET=${preset}`, `PROJECT=${projectDir}`],
          { cwd: SourceDir, ms: 170000 });
        assert.notEqual(result.code, 0);
        const said = result.stdout + result.stderr;
        assert.match(said, /bootstrap: checking \d+ Debian packages/);
        assert.match(said, /make: building tarnwick and its libraries/);
        assert.match(said, new RegExp(`port ${port} on 127\\.0\\.0\\.1 is taken`));
        assert.doesNotMatch(said, /mcpServers/);
      });
      assert.equal(fs.realpathSync(link), fs.realpathSync(TarnwickBin));
    } finally {
      // Leave the checkout's link as it was: a test of another preset must not repoint it.
      if (previous !== null) {
        fs.rmSync(link, { force: true });
        fs.symlinkSync(previous, link);
      }
    }
  });

  test('a disabled namespace is named in the instructions and answered by tarnwick call', async () => {
    const disabled = makeTempProject();
    try {
      writeSettings(disabled, ['bEnableEditor=False']);
      const call = await run(TarnwickBin, ['call', '--project', disabled, '--clock', 'virtual', 'editor_tail_log']);
      assert.equal(call.code, 1);
      assert.match(JSON.parse(call.stdout).error.message, /^editor namespace disabled by user/);
      const client = new Client({ name: 'tarnwick-e2e-disabled', version: '1.0.0' });
      await withTimeout(client.connect(new StdioClientTransport({
        command: TarnwickBin, args: ['serve', '--stdio', '--project', disabled], stderr: 'ignore',
      })), 15000, 'initialize');
      try {
        assert.match(client.getInstructions(), /The 'editor' tools are not listed because the namespace is disabled: editor namespace disabled by user/);
      } finally {
        await client.close();
      }
    } finally {
      removeTempProject(disabled);
    }
  });

  test('a project file with a number no double holds is an error, not an abort', async () => {
    const broken = makeTempProject();
    try {
      const descriptor = fs.readdirSync(broken).find((name) => name.endsWith('.uproject'));
      fs.writeFileSync(path.join(broken, descriptor), '{"FileVersion": 1e400, "EngineAssociation": "5.4"}');
      const result = await run(TarnwickBin, ['call', '--project', broken, 'brindle_list_async_jobs']);
      assert.equal(result.code, 2);
      assert.equal(result.signal, null);
      assert.match(result.stderr, new RegExp(`${descriptor.replace('.', '\\.')}: not valid JSON \\(number overflow parsing '1e400'\\)`));
    } finally {
      removeTempProject(broken);
    }
  });
});
