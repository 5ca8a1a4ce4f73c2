// The living Arena through the official MCP client, on the virtual clock: the hero walks while W is held,
// brakes when it is released, jumps and lands; the enemy reaches its patrol point and its blackboard and the
// hero's health change over the session; the late pickup and the timed warning land in the log; on Arena_NoNav
// the enemy stands still while its move stays in progress, until navigation is built.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { call, connectStdio, makeTempProject, removeTempProject, until, withTimeout } from './helpers.mjs';

function connect(projectDir) {
  return connectStdio(projectDir, { clientName: 'tarnwick-e2e-gameplay', args: ['--clock', 'virtual'], stderr: 'inherit' });
}

/** Starts PIE, waits for the player, and pauses the game so that frames pass only when stepped. */
async function startPaused(client) {
  await call(client, 'editor_start_play');
  await until('the player to log in', async () => {
    const result = await client.callTool({ name: 'pie_get_player_state', arguments: {} });
    return result.isError !== true && result.structuredContent.pawn;
  });
  await call(client, 'editor_pause_pie');
}

/** Exactly `frames` frames of play (in steps of at most 120), then paused again. */
async function step(client, frames) {
  while (frames > 0) {
    const n = Math.min(frames, 120);
    assert.equal((await call(client, 'editor_step_pie', { frames: n })).stepped, n);
    await until('the step to re-pause', async () => (await call(client, 'editor_is_pie_active')).is_paused === true);
    frames -= n;
  }
}

async function health(client) {
  return (await call(client, 'gas_get_attribute_value', { actor: 'BP_Hero', attribute: 'USet.Health' })).current_value;
}

function bbValue(reply, name) {
  return reply.keys.find((k) => k.name === name);
}

describe('the Arena comes alive', { timeout: 120000 }, () => {
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

  test('the gameplay namespaces are listed as tools', async () => {
    const { tools } = await client.listTools();
    const names = tools.map((t) => t.name);
    for (const name of ['pie_key_down', 'pie_key_up', 'pie_press_key', 'pie_mouse_move', 'pie_click', 'ai_runtime_get_all_bb_values',
      'ai_get_navmesh_stats', 'ai_add_nav_bounds_volume', 'ai_rebuild_navigation', 'ai_build_navigation', 'ai_validate_nav_points',
      'gas_get_attribute_value']) {
      assert.ok(names.includes(name), `${name} is listed`);
    }
    const press = tools.find((t) => t.name === 'pie_press_key');
    assert.equal(press.inputSchema.properties.hold_ms.type, 'integer');
    assert.deepEqual(press.inputSchema.required, ['key']);
  });

  test('a session: walking, braking, jumping, the enemy, health and the log', async () => {
    await startPaused(client);
    const start = await call(client, 'pie_get_player_state');
    assert.deepEqual(start.velocity, [0, 0, 0]);
    assert.equal(await health(client), 100);
    // Frames ran freely until the pause, so the enemy may be anywhere on its patrol by now.
    const firstBlackboard = await call(client, 'ai_runtime_get_all_bb_values', { actor: 'Enemy' });
    assert.ok(['Patrolling', 'AtTarget'].includes(bbValue(firstBlackboard, 'State').value_name));
    assert.equal(bbValue(firstBlackboard, 'TargetLocation').type, 'vector');

    // W held for 60 frames: forward (+X from the PlayerStart) at the hero's walking speed.
    assert.deepEqual((await call(client, 'pie_key_down', { key: 'W' })).keys_down, ['W']);
    await step(client, 60);
    const walking = await call(client, 'pie_get_player_state');
    assert.ok(walking.location[0] > start.location[0] + 300, `moved forward: ${walking.location}`);
    assert.ok(walking.velocity[0] > 400, `velocity ${walking.velocity}`);
    assert.ok(walking.anim_instance.GroundSpeed > 400, `GroundSpeed ${walking.anim_instance.GroundSpeed}`);
    assert.equal(walking.anim_instance.bShouldMove, true);

    // Released: the hero brakes to a stop.
    await call(client, 'pie_key_up', { key: 'W' });
    await step(client, 30);
    const stopped = await call(client, 'pie_get_player_state');
    assert.deepEqual(stopped.velocity, [0, 0, 0]);
    assert.equal(stopped.anim_instance.GroundSpeed, 0);
    assert.equal(stopped.anim_instance.bShouldMove, false);

    // SpaceBar: up, and down again onto the floor.
    await call(client, 'pie_key_down', { key: 'SpaceBar' });
    await step(client, 10);
    await call(client, 'pie_key_up', { key: 'SpaceBar' });
    const jumping = await call(client, 'pie_get_player_state');
    assert.equal(jumping.movement_mode, 'MOVE_Falling');
    assert.ok(jumping.location[2] > stopped.location[2] + 30, `in the air: ${jumping.location}`);
    await step(client, 60);
    const landed = await call(client, 'pie_get_player_state');
    assert.equal(landed.movement_mode, 'MOVE_Walking');
    assert.equal(landed.location[2], stopped.location[2]);

    // The walk went through the fire pit: health went down as documented (5 at a time).
    const burnt = await health(client);
    assert.ok(burnt < 100 && burnt % 5 === 0, `health ${burnt}`);

    // The enemy reaches a patrol point (a leg takes about 4 s and it waits 1 s); its blackboard says so and
    // changes as it goes.
    let reached = false;
    let changed = false;
    for (let i = 0; i < 40 && !(reached && changed); i++) {
      await step(client, 20);
      const now = await call(client, 'ai_runtime_get_all_bb_values', { actor: 'Enemy' });
      changed ||= JSON.stringify(now.keys) !== JSON.stringify(firstBlackboard.keys);
      reached = bbValue(now, 'bHasReachedTarget').value === true;
    }
    assert.ok(changed, 'the blackboard changed over the session');
    assert.ok(reached, 'the enemy reached a patrol point');
    // At one of its two points (frames ran freely before the first pause, so it may be on a later leg).
    const move = await call(client, 'ai_get_move_status', { actor: 'Enemy' });
    const atPoint = Math.min(Math.hypot(move.location[0] - 600, move.location[1] + 600), Math.hypot(move.location[0] - 600, move.location[1] - 600));
    assert.ok(atPoint < 60, `enemy at ${move.location}`);
    const later = await call(client, 'ai_runtime_get_all_bb_values', { actor: 'Enemy' });
    assert.equal(bbValue(later, 'State').value_name, 'AtTarget');
    assert.ok((await health(client)) <= burnt);

    // The pickup spawned 1.5 s in, and the fire pit's timed warning is in the log.
    const pickup = await call(client, 'editor_search_logs', { pattern: 'A health pickup appeared', limit: 5 });
    assert.equal(pickup.entries.length, 1);
    const warnings = await call(client, 'editor_search_logs', { pattern: 'The fire pit is still burning', limit: 50 });
    assert.ok(warnings.entries.length >= 1, 'the timer warned at least once (every 2 s of play)');
    assert.equal(warnings.entries[0].category, 'LogArena');
    assert.equal(warnings.entries[0].verbosity, 'warning');

    await call(client, 'editor_stop_play');
    await until('PIE to end', async () => (await call(client, 'editor_is_pie_active')).active === false);
  });

  test('errors an agent can read', async () => {
    if ((await call(client, 'editor_is_pie_active')).active) {
      await call(client, 'editor_stop_play');
      await until('PIE to end', async () => (await call(client, 'editor_is_pie_active')).active === false);
    }
    const noPie = await client.callTool({ name: 'pie_key_down', arguments: { key: 'W' } });
    assert.equal(noPie.isError, true);
    assert.equal(noPie.structuredContent.error.code, -32603);
    const badKey = await client.callTool({ name: 'pie_press_key', arguments: { key: 'Space' } });
    assert.equal(badKey.structuredContent.error.code, -32602);
    assert.match(badKey.structuredContent.error.message, /did you mean 'SpaceBar'/);
    const extra = await client.callTool({ name: 'ai_get_navmesh_stats', arguments: { actor: 'Enemy' } });
    // The server checks arguments before the handler runs, so a client sees the boundary's wording.
    assert.equal(extra.structuredContent.error.code, -32602);
    assert.equal(extra.structuredContent.error.message, "Unknown parameter 'actor' for ai_get_navmesh_stats; it takes 'world'.");
  });
});

describe('Arena_NoNav', { timeout: 120000 }, () => {
  let projectDir;
  let client;

  before(async () => {
    projectDir = makeTempProject();
    const ini = path.join(projectDir, 'Config', 'DefaultEngine.ini');
    fs.writeFileSync(ini, fs.readFileSync(ini, 'utf8').replace('EditorStartupMap=/Game/Maps/Arena', 'EditorStartupMap=/Game/Maps/Arena_NoNav'));
    client = await connect(projectDir);
  });

  after(async () => {
    await withTimeout(client?.close() ?? Promise.resolve(), 10000, 'the client to close');
    removeTempProject(projectDir);
  });

  test('the enemy stands still with its move in progress until navigation is built', async () => {
    const stats = await call(client, 'ai_get_navmesh_stats');
    assert.deepEqual([stats.is_built, stats.nav_bounds_volume_count, stats.map], [false, 1, 'Arena_NoNav']);
    await startPaused(client);
    const before = await call(client, 'ai_get_move_status', { actor: 'Enemy' });
    await step(client, 240);
    const after = await call(client, 'ai_get_move_status', { actor: 'Enemy' });
    assert.equal(after.status, 'Moving');
    assert.equal(after.is_moving, true);
    assert.equal(after.speed, 0);
    assert.deepEqual(after.location, before.location);
    assert.deepEqual(after.path_points, []);

    const rebuilt = await call(client, 'ai_rebuild_navigation', { timeout_seconds: 10 });
    assert.equal(rebuilt.built, true);
    assert.equal(rebuilt.world, 'pie');
    assert.equal(rebuilt.tile_count, 16);
    await step(client, 30);
    const moving = await call(client, 'ai_get_move_status', { actor: 'Enemy' });
    assert.ok(moving.speed > 0, 'the waiting move set off');
    assert.ok(moving.path_points.length >= 2);
  });
});
