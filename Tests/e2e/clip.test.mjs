// Clips and Python probes through the official MCP client against `tarnwick serve --clock virtual`: the served
// editor renders its PIE viewport, writes the frames as PNG files that this test decodes, and runs probes in the
// interpreter it started with itself; with --hidden-editor the same clip is black and says why.
import assert from 'node:assert/strict';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { call, connectStdio, makeTempProject, removeTempProject, withTimeout } from './helpers.mjs';
import { countDifferent, isUniform, readPng } from './png.mjs';

function connect(projectDir, extraArgs = []) {
  return connectStdio(projectDir, { clientName: 'tarnwick-e2e-clip', args: ['--clock', 'virtual', ...extraArgs], stderr: 'ignore' });
}

async function finished(client, sessionId) {
  for (let i = 0; i < 2000; i++) {
    const report = await call(client, 'editor_poll_pie_smoke', { session_id: sessionId });
    if (report.status !== 'running') return report;
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  assert.fail(`session ${sessionId} never finished`);
}

/** SK_Hero's green under any light. */
function isHeroGreen([r, g, b]) {
  return g > 1.8 * r && g > 1.6 * b;
}

const walkingClip = (folder) => ({
  duration: 1,
  capture_interval: 0.25,
  output_path: folder,
  input_events: [{ event: 'down', key: 'W', at_seconds: 0 }],
});

describe('clips and probes in a served editor', { timeout: 120000 }, () => {
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

  test('a walking hero\'s clip: PNGs that show the hero and change from frame to frame', async () => {
    const started = await call(client, 'editor_capture_pie_movement_clip', walkingClip('Saved/Clips/Walk'));
    assert.equal(started.output_dir, path.join(projectDir, 'Saved/Clips/Walk') + '/');
    const report = await finished(client, started.session_id);
    assert.equal(report.status, 'complete');
    assert.equal(report.frame_count, 5);
    assert.equal(report.valid_frames, 4);
    assert.equal(report.captured_ok, true);
    assert.equal(report.hint, undefined);

    const frames = report.frame_paths.map((file) => readPng(file));
    for (const [i, frame] of frames.entries()) {
      assert.equal(frame.width, 1280);
      assert.equal(frame.height, 720);
      // The follow camera rides 350 behind the hero: the capsule fills the middle column below the centre.
      for (const y of [320, 438, 560]) {
        assert.ok(isHeroGreen(frame.at(640, y)), `frame ${i}: (640, ${y}) is ${frame.at(640, y)}`);
      }
      assert.ok(!isHeroGreen(frame.at(640, 100)), `frame ${i}: sky above the hero`);
      if (i > 0) assert.ok(countDifferent(frame, frames[i - 1]) > 2000, `frames ${i - 1} and ${i} differ`);
    }
  });

  test('a probe reads the hero in the interpreter the editor started, and a raising one reports its exception', async (t) => {
    const started = await call(client, 'editor_run_pie_smoke', {
      duration: 0.5,
      log_patterns: { must_present: ['probe: hero health'] },
      probe_scripts: [
        { at_seconds: 0.2, python: "import unreal\nunreal.log(f\"probe: hero health {unreal.get_player_pawn().get_editor_property('Health')}\")\n" },
        { at_seconds: 0.3, python: "raise ValueError('no such thing')\n" },
      ],
    });
    const report = await finished(client, started.session_id);
    if (report.probes[0].python_output === 'Python not available in this build.') {
      t.skip('built without Python');
      return;
    }
    assert.equal(report.probes[0].python_ok, true, report.probes[0].python_output);
    assert.equal(report.probes[0].python_output, 'probe: hero health 100.0\n');
    assert.equal(report.probes[1].python_ok, false);
    assert.match(report.probes[1].python_output, /^Traceback \(most recent call last\):\n[\s\S]*ValueError: no such thing\n$/);
    assert.deepEqual(report.missing_must_present, []);
    assert.equal(report.log_ok, true);
  });
});

describe('a clip in a hidden editor', { timeout: 120000 }, () => {
  let projectDir;
  let client;

  before(async () => {
    projectDir = makeTempProject();
    client = await connect(projectDir, ['--hidden-editor']);
  });

  after(async () => {
    await withTimeout(client?.close() ?? Promise.resolve(), 10000, 'the client to close');
    removeTempProject(projectDir);
  });

  test('writes black frames, judges them uniform and gives the hint', async () => {
    const started = await call(client, 'editor_capture_pie_movement_clip', walkingClip('Saved/Clips/Hidden'));
    const report = await finished(client, started.session_id);
    assert.equal(report.frame_count, 5);
    for (const file of report.frame_paths) {
      const frame = readPng(file);
      assert.ok(isUniform(frame), file);
      assert.deepEqual(frame.at(0, 0), [0, 0, 0, 255]);
    }
    assert.equal(report.valid_frames, 0);
    assert.equal(report.invalid_frames, 4);
    assert.equal(report.captured_ok, false);
    assert.equal(report.hint, 'All frames were uniform/black — the PIE viewport is likely not rendered (hidden editor / no active level '
      + 'viewport). Pass view_target_actor or run with a visible editor viewport.');
  });
});
