// `tarnwick smoke` as CI runs it: the exit code of every spec under Samples/Arena/Smoke (pass-*.json exit 0,
// fail-*.json exit 1), the refusal and bad-file exit code 2, the summary, and reports that repeat exactly.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';

import { TarnwickBin, makeTempProject, removeTempProject } from './helpers.mjs';

const SourceDir = process.env.TARNWICK_SOURCE_DIR ?? path.resolve(import.meta.dirname, '../..');
const SmokeDir = path.join(SourceDir, 'Samples', 'Arena', 'Smoke');

function smoke(projectDir, specFile, reportFile) {
  const args = ['smoke', '--project', projectDir, specFile];
  if (reportFile) args.push('--report', reportFile);
  const run = spawnSync(TarnwickBin, args, { encoding: 'utf8', timeout: 60000 });
  assert.equal(run.error, undefined, `tarnwick smoke ${specFile}: ${run.error}`);
  return run;
}

/** The report without what depends on the time of day (the id's HHMMSS). */
function timeless(report) {
  const copy = structuredClone(report);
  copy.session_id = copy.session_id.replace(/_\d{6}$/, '_HHMMSS');
  return copy;
}

describe('tarnwick smoke', { timeout: 120000 }, () => {
  let projectDir;
  let scratch;

  before(() => {
    projectDir = makeTempProject();
    scratch = fs.mkdtempSync(path.join(projectDir, 'Saved-'));
  });

  after(() => removeTempProject(projectDir));

  const specs = fs.existsSync(SmokeDir) ? fs.readdirSync(SmokeDir).filter((f) => f.endsWith('.json')).sort() : [];
  for (const file of specs) {
    test(`${file} gives its documented exit code`, () => {
      const expected = file.startsWith('pass-') ? 0 : file.startsWith('fail-') ? 1 : undefined;
      assert.notEqual(expected, undefined, `${file} must be named pass-*.json or fail-*.json`);
      const reportFile = path.join(scratch, `${file}.report.json`);
      const run = smoke(projectDir, path.join(SmokeDir, file), reportFile);
      assert.equal(run.status, expected, `${file}:\n${run.stdout}\n${run.stderr}`);
      const report = JSON.parse(fs.readFileSync(reportFile, 'utf8'));
      assert.equal(report.ok, expected === 0);
      assert.match(run.stdout, new RegExp(`ok ${expected === 0}\\n$`));
    });
  }

  test('two runs of the same spec give the same report', () => {
    const spec = path.join(scratch, 'repeat.json');
    fs.writeFileSync(spec, JSON.stringify({
      duration: 2,
      input_events: [{ event: 'press', key: 'SpaceBar', at_seconds: 0.5 }],
      log_patterns: { must_present: ['TARNWICK_SMOKE begin'] },
    }));
    const reports = [1, 2].map((n) => {
      const out = path.join(scratch, `repeat-${n}.json`);
      smoke(projectDir, spec, out);
      return timeless(JSON.parse(fs.readFileSync(out, 'utf8')));
    });
    assert.deepEqual(reports[0], reports[1]);
    assert.equal(reports[0].status, 'complete');
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
