// `tarnwick smoke` as CI runs it: the summary it prints, a failing run's reasons, and exit code 2 for a refusal,
// a file that is not one JSON object and a missing file. (Each spec under Samples/Arena/Smoke is run twice by
// the smoke.* tests, which check its exit code and that its reports repeat.)
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { TarnwickBin, makeTempProject, removeTempProject } from './helpers.mjs';

const SourceDir = process.env.TARNWICK_SOURCE_DIR ?? path.resolve(import.meta.dirname, '../..');

function smoke(projectDir, specFile, reportFile) {
  const args = ['smoke', '--project', projectDir, specFile];
  if (reportFile) args.push('--report', reportFile);
  const run = spawnSync(TarnwickBin, args, { encoding: 'utf8', timeout: 60000 });
  assert.equal(run.error, undefined, `tarnwick smoke ${specFile}: ${run.error}`);
  return run;
}

describe('tarnwick smoke', { timeout: 120000 }, () => {
  let projectDir;
  let scratch;

  before(() => {
    projectDir = makeTempProject();
    scratch = fs.mkdtempSync(path.join(projectDir, 'Saved-'));
  });

  after(() => removeTempProject(projectDir));

  test('a passing spec prints each expectation and the verdicts', () => {
    const run = smoke(projectDir, path.join(SourceDir, 'Samples/Arena/Smoke/pass-jump-and-land.json'));
    assert.equal(run.status, 0, run.stdout);
    assert.match(run.stdout, /: session pie_smoke_0_\d{6} complete after 2\.52s of game time \(152 ticks\)\n/);
    assert.match(run.stdout, /\n {2}PASS air_time: Satisfied: mode dwells in 'MOVE_Falling'\.\n/);
    assert.match(run.stdout, /\n {2}log_ok true, sample_ok true, expectations_ok true, stable_ok true\n {2}ok true\n$/);
  });

  test('a spec that fails exits 1 and says why', () => {
    const spec = path.join(scratch, 'missing-line.json');
    fs.writeFileSync(spec, JSON.stringify({ duration: 0.5, log_patterns: { must_present: ['This line is never logged'] } }));
    const run = smoke(projectDir, spec);
    assert.equal(run.status, 1);
    assert.match(run.stdout, /log: must-present pattern never seen: This line is never logged/);
    assert.match(run.stdout, /log_ok false/);
  });

  test('a refused spec or a bad file exits 2', () => {
    const refused = path.join(scratch, 'refused.json');
    fs.writeFileSync(refused, JSON.stringify({ clock: 'real' }));
    const run = smoke(projectDir, refused, path.join(scratch, 'refused-report.json'));
    assert.equal(run.status, 2);
    assert.match(run.stdout, /refused \(-32603\): clock must be "game"/);
    const written = JSON.parse(fs.readFileSync(path.join(scratch, 'refused-report.json'), 'utf8'));
    assert.equal(written.error.code, -32603);

    const notJson = path.join(scratch, 'bad.json');
    fs.writeFileSync(notJson, '[1, 2');
    assert.equal(smoke(projectDir, notJson).status, 2);
    assert.equal(smoke(projectDir, path.join(scratch, 'missing.json')).status, 2);
  });
});
