// The JUnit file as CI reads it: parsed back by a JUnit reader from npm, the verdicts must come out as the
// reports say, with each failure's sentence as its message.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import path from 'node:path';
import { parse } from 'test-results-parser';
import { reportsDir } from './browser.mjs';

test('the suite reads back with its suites, cases and failures', () => {
  const result = parse({ type: 'junit', files: [path.join(reportsDir, 'suite.xml')] });
  assert.equal(result.name, 'Samples/Arena/Smoke');
  assert.equal(result.total, 25);
  assert.equal(result.failed, 6);
  assert.equal(result.errors, 2);
  assert.equal(result.status, 'FAIL');
  assert.deepEqual(result.suites.map((s) => s.name), ['arena_ai_chase', 'arena_bad_window', 'arena_hero_walk', 'arena_paused_stall']);
  assert.deepEqual(result.suites.map((s) => s.status), ['FAIL', 'FAIL', 'PASS', 'FAIL']);

  const chase = result.suites[0];
  assert.equal(chase.duration, 6000);
  assert.equal(chase.metadata.session_id, 'pie_smoke_3_142207');
  const failed = chase.cases.filter((c) => c.status === 'FAIL');
  assert.deepEqual(failed.map((c) => c.name), ['chaser_reaches_player: ChaserDistance < 150']);
  assert.match(failed[0].failure, /^Expected 'ChaserDistance < 150' at least ONCE in window \[1\.00s, end\], but it never held/);
  assert.match(failed[0].stack_trace, /margin: -151\ndecided at: t=6\.000s/);
  // The warn-severity failure passes, and says so in its output.
  const stall = chase.cases.find((c) => c.name.startsWith('chaser_never_stalls'));
  assert.equal(stall.status, 'PASS');
  assert.deepEqual(chase.cases.slice(-3).map((c) => [c.name, c.status]), [['log_ok', 'PASS'], ['sample_ok', 'PASS'], ['stable_ok', 'PASS']]);

  const refused = result.suites[1];
  assert.equal(refused.cases.length, 1);
  assert.equal(refused.cases[0].failure, '2 expectation(s) can never be satisfied — refusing to start PIE.');

  const error = result.suites[3];
  assert.deepEqual(error.cases.filter((c) => c.status === 'FAIL').map((c) => c.name),
    ['session', 'enemy_hurt: EnemyHealth < 100', 'e2: no harness error', 'log_ok', 'sample_ok', 'stable_ok']);
});
