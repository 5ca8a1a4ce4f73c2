// PIE smoke sessions through the official MCP client against `tarnwick serve --clock virtual` (frames back to
// back on the simulated clock): one call starts a session, the editor's own frame loop runs it, poll reads the
// report. Every refusal family and every end path, with the error data a refusal carries.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { call, connectStdio, makeTempProject, removeTempProject, until, withTimeout } from './helpers.mjs';

function connect(projectDir) {
  return connectStdio(projectDir, { clientName: 'tarnwick-e2e-smoke', args: ['--clock', 'virtual'], stderr: 'ignore' });
}

/** The error a refused call carries: {code, message, data?}. */
async function refusal(client, name, args = {}) {
  const result = await withTimeout(client.callTool({ name, arguments: args }), 10000, name);
  assert.equal(result.isError, true, `${name} should have been refused`);
  return result.structuredContent.error;
}

async function poll(client, sessionId) {
  return call(client, 'editor_poll_pie_smoke', { session_id: sessionId });
}

/** Polls until the session has finished; the virtual clock runs its frames as fast as it can meanwhile. */
async function finished(client, sessionId) {
  for (let i = 0; i < 1000; i++) {
    const report = await poll(client, sessionId);
    if (report.status !== 'running') return report;
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  assert.fail(`session ${sessionId} never finished`);
}

async function noPie(client) {
  await until('PIE to end', async () => (await call(client, 'editor_is_pie_active')).active === false);
}

describe('smoke sessions over MCP', { timeout: 120000 }, () => {
  let projectDir;
  let client;

  before(async () => {
    projectDir = makeTempProject();
    // A map whose sub-level keeps loading far longer than any test waits, so its world never goes quiescent.
    const arena = JSON.parse(fs.readFileSync(path.join(projectDir, 'Content/Maps/Arena.umap'), 'utf8'));
    arena.StreamingLevels = [{ Package: '/Game/Maps/Arena_Streamed', LoadFrames: 1000000 }];
    fs.writeFileSync(path.join(projectDir, 'Content/Maps/Streaming.umap'), JSON.stringify(arena));
    client = await connect(projectDir);
  });

  after(async () => {
    await withTimeout(client?.close() ?? Promise.resolve(), 10000, 'the client to close');
    removeTempProject(projectDir);
  });

  test('a session runs to its duration and passes', async () => {
    const started = await call(client, 'editor_run_pie_smoke', {
      duration: 1,
      log_patterns: { must_present: ['TARNWICK_SMOKE begin'] },
    });
    assert.equal(started.status, 'running');
    assert.equal(started.duration, 1);
    const report = await finished(client, started.session_id);
    assert.equal(report.status, 'complete');
    assert.equal(report.pie_ready, true);
    assert.equal(report.log_ok, true);
    assert.equal(report.ok, true);
    assert.ok(report.elapsed_seconds >= 1);
    await noPie(client);
    assert.equal((await poll(client, started.session_id)).lifecycle, 'teardown-complete');
  });

  test('refusals leave nothing running', async () => {
    const unknownKey = await refusal(client, 'editor_run_pie_smoke', { durration: 3 });
    assert.equal(unknownKey.code, -32602);
    assert.match(unknownKey.message, /^Unknown parameter 'durration' \(did you mean 'duration'\?\) for editor_run_pie_smoke; it takes 'map', /);

    const map = await refusal(client, 'editor_run_pie_smoke', { map: '/Game/Maps/Nowhere' });
    assert.equal(map.code, -32603);
    assert.match(map.message, /^Map '\/Game\/Maps\/Nowhere' does not exist \(no such package\)\./);

    const clock = await refusal(client, 'editor_run_pie_smoke', { clock: 'real' });
    assert.match(clock.message, /got "real"\.$/);
    // Without sample_spec or sample_vars a session samples the three AnimInstance defaults.
    assert.deepEqual(clock.data, { unsatisfiable_expectations: [], sampled_vars: ['GroundSpeed', 'bShouldMove', 'DesiredYawDelta'] });

    const never = await refusal(client, 'editor_run_pie_smoke', {
      duration: 2,
      sample_spec: [{ name: 'mode', path: 'CharacterMovement.MovementMode' }],
      expect: [{ id: 'order', op: 'gte', var: 'mode', value: 'MOVE_Falling' }, { id: 'typo', op: 'eq', var: 'mood', value: 'x' }],
    });
    assert.equal(never.code, -32603);
    assert.equal(never.message, '2 expectation(s) can never be satisfied — refusing to start PIE.');
    assert.deepEqual(never.data.sampled_vars, ['mode']);
    assert.equal(never.data.unsatisfiable_expectations.length, 2);
    assert.match(never.data.unsatisfiable_expectations[0], /^expect\[order\] can never be satisfied: op 'gte' needs a number/);
    assert.equal(never.data.unsatisfiable_expectations[1], "expect[typo] references unknown var 'mood' — sampled vars are: mode");

    const late = await refusal(client, 'editor_run_pie_smoke', { duration: 1, input_events: [{ event: 'down', key: 'W', at_seconds: 1.5 }] });
    assert.equal(late.message, 'input_events[0]: at_seconds=1.5 is beyond the session duration=1 — it would never fire');

    const folder = await refusal(client, 'editor_capture_pie_movement_clip', { output_path: '/Nowhere/Clips' });
    assert.equal(folder.message,
      "Could not convert virtual path '/Nowhere/Clips/' to an on-disk directory (no content root mounted for that prefix).");

    assert.equal((await call(client, 'editor_is_pie_active')).active, false);

    await call(client, 'editor_start_pie');
    const busy = await refusal(client, 'editor_run_pie_smoke');
    assert.equal(busy.message, 'A PIE session is already running — stop it before run_pie_smoke.');
    const busyClip = await refusal(client, 'editor_capture_pie_movement_clip');
    assert.equal(busyClip.message, 'A PIE session is already running — stop it before capture_pie_movement_clip.');
    assert.equal((await call(client, 'editor_is_pie_active')).owner, 'user');
    await call(client, 'editor_stop_pie');
    await noPie(client);
  });

  test('a PIE ended from outside completes the session', async () => {
    for (const ender of ['editor_stop_pie', 'editor_stop_play']) {
      // Paused at begin-play on the game clock, so the session waits for its watchdog, far away.
      const { session_id: id } = await call(client, 'editor_run_pie_smoke', {
        duration: 120, max_wall_seconds: 900, stages: { on_begin_play: { console: ['pause'] } },
      });
      await until('the session to begin play', async () => (await poll(client, id)).pie_ready === true);
      const owner = await call(client, 'editor_is_pie_active');
      assert.equal(owner.owner, 'smoke');
      assert.equal(owner.session_id, id);
      await call(client, ender);
      const report = await finished(client, id);
      assert.equal(report.status, 'complete', ender);
      assert.equal(report.pie_active, false, ender);
      assert.equal(report.error, undefined, ender);
      await noPie(client);
    }
  });

  test('the watchdog ends a paused session on the game clock', async () => {
    const { session_id: id } = await call(client, 'editor_run_pie_smoke', {
      duration: 5, max_wall_seconds: 1, stages: { on_begin_play: { console: ['pause'] } },
    });
    const report = await finished(client, id);
    assert.equal(report.status, 'error');
    assert.match(report.error, /^Session clock stalled: 0\.00s of 5\.00s game seconds elapsed after 1\.0s of wall clock/);
    assert.equal(report.determinism.watchdog_fired, true);
    assert.ok(report.determinism.stalled_ticks > 0);
    assert.equal(report.ok, false);
    await noPie(client);
  });

  test('the watchdog ends a pre-roll that never settles', async () => {
    const { session_id: id } = await call(client, 'editor_run_pie_smoke', {
      map: '/Game/Maps/Streaming', settle_timeout: 60, max_wall_seconds: 1,
    });
    const report = await finished(client, id);
    assert.equal(report.status, 'error');
    assert.equal(report.error, 'Session timed out during the settle pre-roll after 1.0s of wall clock (async_loading still busy). '
      + 'Raise settle_timeout / max_wall_seconds, or pass settle:false to start sampling immediately.');
    assert.equal(report.map, 'Streaming');
    await noPie(client);
  });

  test('stop ends one session, or every running one', async () => {
    const settleForever = { map: '/Game/Maps/Streaming', settle_timeout: 120, max_wall_seconds: 900 };
    const { session_id: one } = await call(client, 'editor_run_pie_smoke', settleForever);
    const stopped = await call(client, 'editor_stop_pie_smoke', { session_id: one });
    assert.equal(stopped.stopped, 1);
    assert.equal(stopped.report.status, 'stopped');
    assert.equal(stopped.report.lifecycle, 'stopped-by-tool');
    assert.equal((await call(client, 'editor_stop_pie_smoke', { session_id: one })).stopped, 0, 'a finished session stays as it is');
    assert.deepEqual(await call(client, 'editor_stop_pie_smoke', { session_id: 'nope' }),
      { stopped: 0, warning: "Unknown session 'nope' — nothing to stop." });
    await noPie(client);

    const { session_id: two } = await call(client, 'editor_run_pie_smoke', settleForever);
    assert.deepEqual(await call(client, 'editor_stop_pie_smoke'), { stopped: 1 });
    assert.equal((await poll(client, two)).status, 'stopped');
    await noPie(client);

    const unknown = await refusal(client, 'editor_poll_pie_smoke', { session_id: 'nope' });
    assert.equal(unknown.message, "Unknown PIE-smoke session 'nope'.");
  });
});

describe('smoke sessions on projects that cannot start cleanly', { timeout: 60000 }, () => {
  test('Blueprint compile errors refuse the session, and the clip cannot start PIE past them', async () => {
    const projectDir = makeTempProject();
    const hero = path.join(projectDir, 'Content/Blueprints/BP_Hero.uasset');
    fs.writeFileSync(hero, JSON.stringify({ ...JSON.parse(fs.readFileSync(hero, 'utf8')), Status: 'Error' }));
    const client = await connect(projectDir);
    try {
      const refused = await refusal(client, 'editor_run_pie_smoke');
      assert.match(refused.message, /^run_pie_smoke refused: 1 Blueprint\(s\) have unresolved compile errors\./);
      assert.equal(refused.data.errored_blueprint_count, 1);
      assert.equal(refused.data.errored_blueprints[0].name, 'BP_Hero');

      const clip = await refusal(client, 'editor_capture_pie_movement_clip', { output_path: 'Saved/Clips/Broken' });
      assert.match(clip.message, /^Failed to start PIE: /);
    } finally {
      await withTimeout(client.close(), 10000, 'the client to close');
      removeTempProject(projectDir);
    }
  });

  test('a world that never begins play waits until it is stopped', async () => {
    const projectDir = makeTempProject();
    fs.writeFileSync(path.join(projectDir, 'Config/DefaultEditor.ini'),
      '[/Script/UnrealEd.LevelEditorPlaySettings]\nPIELoadFrames=100000000\n');
    const client = await connect(projectDir);
    try {
      const { session_id: id } = await call(client, 'editor_run_pie_smoke', { duration: 1, max_wall_seconds: 1 });
      await until('a few seconds of frames', async () => (await poll(client, id)).wall_seconds > 3);
      const waiting = await poll(client, id);
      assert.equal(waiting.status, 'running', 'no watchdog before begin-play');
      assert.equal(waiting.pie_ready, false);
      const stopped = await call(client, 'editor_stop_pie_smoke', { session_id: id });
      assert.equal(stopped.report.status, 'stopped');
      assert.equal(stopped.report.ok, false);
    } finally {
      await withTimeout(client.close(), 10000, 'the client to close');
      removeTempProject(projectDir);
    }
  });
});
