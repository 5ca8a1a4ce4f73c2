#!/usr/bin/env node
// Drives tarnwick and the SDK baseline (Benchmarks/sdk-baseline) with the same client, the official MCP
// TypeScript SDK's, in one run, over stdio and over Streamable HTTP, and compares them:
//   start-up    spawn to a completed initialize (median of --startups tries, the two servers taking turns)
//   CPU/call    the server process's CPU time over the measured calls (all its threads, from /proc), per call
//   calls/s     sequential brindle_list_async_jobs calls per second of wall time
// The client's own cost caps calls per second for both servers, so CPU per call is the fair figure of the
// server's work. The measured calls are split into rounds that alternate between the two servers, so a burst
// of load from elsewhere on the machine falls on both rather than on one.
//
//   node Benchmarks/mcp-bench.mjs [--tarnwick PATH] [--calls 2000] [--warmup 200] [--startups 10] [--rounds 4]
//                                 [--idle-ms 1000] [--transports stdio,http] [--json OUT] [--check]
// Server CPU per call counts everything the server process did while the calls ran, its idle frame loop
// included; the idle rate is measured on its own beforehand (--idle-ms) and reported beside it.
// With --check it exits 1 when a target below is missed (2 on a failure to run at all).
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { performance } from 'node:perf_hooks';
import { fileURLToPath, pathToFileURL } from 'node:url';

const Here = path.dirname(fileURLToPath(import.meta.url));
const RepoRoot = path.resolve(Here, '..');
const SdkDist = path.join(Here, 'sdk-baseline', 'node_modules', '@modelcontextprotocol', 'sdk', 'dist', 'esm');
const BaselineServer = path.join(Here, 'sdk-baseline', 'server.mjs');

const Targets = {
	startupStdioMs: 50,
	cpuRatio: { stdio: 1 / 5, http: 1 / 10 },
	callsPerSecondRatioStdio: 1.5,
};

function parseArgs(argv) {
	const options = {
		tarnwick: process.env.TARNWICK_BIN || path.join(RepoRoot, 'build', 'release', 'Programs', 'tarnwick', 'tarnwick'),
		calls: 2000,
		warmup: 200,
		startups: 10,
		rounds: 4,
		idleMs: 1000,
		transports: ['stdio', 'http'],
		json: path.join(RepoRoot, 'build', 'bench-results', 'mcp-bench.json'),
		check: false,
	};
	for (let i = 0; i < argv.length; ++i) {
		const arg = argv[i];
		const next = () => {
			if (i + 1 >= argv.length) throw new Error(`${arg} needs a value`);
			return argv[++i];
		};
		if (arg === '--tarnwick') options.tarnwick = path.resolve(next());
		else if (arg === '--calls') options.calls = Number(next());
		else if (arg === '--warmup') options.warmup = Number(next());
		else if (arg === '--startups') options.startups = Number(next());
		else if (arg === '--rounds') options.rounds = Number(next());
		else if (arg === '--idle-ms') options.idleMs = Number(next());
		else if (arg === '--transports') options.transports = next().split(',').filter(Boolean);
		else if (arg === '--json') options.json = path.resolve(next());
		else if (arg === '--check') options.check = true;
		else throw new Error(`unknown argument ${arg}`);
	}
	for (const t of options.transports) {
		if (t !== 'stdio' && t !== 'http') throw new Error(`unknown transport ${t} (stdio, http)`);
	}
	if (!(options.calls > 0) || !(options.rounds > 0) || !(options.startups > 0) || !(options.warmup >= 0)) {
		throw new Error('--calls, --rounds and --startups must be positive, --warmup not negative');
	}
	return options;
}

async function loadSdk() {
	if (!fs.existsSync(path.join(SdkDist, 'client', 'index.js'))) {
		throw new Error(`the MCP SDK is not installed in ${path.join(Here, 'sdk-baseline')}; run scripts/bootstrap (npm ci there)`);
	}
	const load = (p) => import(pathToFileURL(path.join(SdkDist, p)).href);
	const [{ Client }, { StdioClientTransport }, { StreamableHTTPClientTransport }] = await Promise.all([
		load('client/index.js'),
		load('client/stdio.js'),
		load('client/streamableHttp.js'),
	]);
	return { Client, StdioClientTransport, StreamableHTTPClientTransport };
}

const ClockTicks = (() => {
	try {
		return Number(execFileSync('getconf', ['CLK_TCK'], { encoding: 'utf8' }).trim()) || 100;
	} catch {
		return 100;
	}
})();

/** utime+stime of the whole process (clock ticks), and each live thread's run time in ns (schedstat). */
function readCpu(pid) {
	const stat = fs.readFileSync(`/proc/${pid}/stat`, 'utf8');
	// The command name is in parentheses and may hold spaces; the fields after it are fixed.
	const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
	const ticks = Number(fields[11]) + Number(fields[12]);
	const threads = new Map();
	try {
		for (const tid of fs.readdirSync(`/proc/${pid}/task`)) {
			try {
				threads.set(tid, Number(fs.readFileSync(`/proc/${pid}/task/${tid}/schedstat`, 'utf8').split(' ')[0]));
			} catch {
				threads.set(tid, NaN); // exited between listing and reading
			}
		}
	} catch {
		// no schedstat: the tick count alone will do
	}
	return { ticks, threads };
}

/** CPU seconds between two readings: nanosecond run times when the same threads lived throughout, else ticks. */
function cpuDelta(before, after) {
	const tickSeconds = (after.ticks - before.ticks) / ClockTicks;
	const sameThreads =
		before.threads.size > 0 &&
		before.threads.size === after.threads.size &&
		[...before.threads.keys()].every((tid) => after.threads.has(tid));
	if (sameThreads) {
		let ns = 0;
		for (const [tid, start] of before.threads) ns += after.threads.get(tid) - start;
		if (Number.isFinite(ns)) return { seconds: ns / 1e9, tickSeconds, source: 'schedstat' };
	}
	return { seconds: tickSeconds, tickSeconds, source: 'stat' };
}

function median(values) {
	const sorted = [...values].sort((a, b) => a - b);
	const mid = Math.floor(sorted.length / 2);
	return sorted.length % 2 ? sorted[mid] : (sorted[mid - 1] + sorted[mid]) / 2;
}

function percentile(sorted, p) {
	if (sorted.length === 0) return NaN;
	return sorted[Math.min(sorted.length - 1, Math.floor((p / 100) * sorted.length))];
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

function freePort() {
	return new Promise((resolve, reject) => {
		const probe = net.createServer();
		probe.once('error', reject);
		probe.listen(0, '127.0.0.1', () => {
			const { port } = probe.address();
			probe.close(() => resolve(port));
		});
	});
}

function makeProject() {
	const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'tarnwick-bench-'));
	fs.writeFileSync(
		path.join(dir, 'Bench.uproject'),
		JSON.stringify({ FileVersion: 3, EngineAssociation: '5.7', Modules: [] }),
	);
	fs.mkdirSync(path.join(dir, 'Content'));
	return dir;
}

/** The two servers as commands; node is spawned directly so that the pid is the server's own. */
function serverCommands(options, projectDir) {
	return {
		tarnwick: {
			stdio: () => ({ command: options.tarnwick, args: ['serve', '--stdio', '--project', projectDir] }),
			http: (address) => ({ command: options.tarnwick, args: ['serve', '--http', address, '--project', projectDir] }),
		},
		baseline: {
			stdio: () => ({ command: process.execPath, args: [BaselineServer, '--stdio'] }),
			http: (address) => ({ command: process.execPath, args: [BaselineServer, '--http', address] }),
		},
	};
}

/** Keeps the tail of a child's stderr so that a failure can say why. */
function tailOf(stream, limit = 4096) {
	const state = { text: '' };
	stream?.on('data', (chunk) => {
		state.text = (state.text + chunk.toString()).slice(-limit);
	});
	return state;
}

/** A connected client and the server process behind it. */
class Session {
	static async openStdio(sdk, spec) {
		const transport = new sdk.StdioClientTransport({ ...spec, stderr: 'pipe' });
		const stderr = tailOf(transport.stderr);
		const client = new sdk.Client({ name: 'tarnwick-bench', version: '0.0.0' });
		try {
			await client.connect(transport);
		} catch (error) {
			await client.close().catch(() => {});
			throw new Error(`${spec.command} did not initialize over stdio: ${error.message}\n${stderr.text}`);
		}
		const session = new Session();
		session.client = client;
		session.pid = transport.pid;
		session.stderr = stderr;
		session.close = async () => {
			await client.close();
		};
		return session;
	}

	static async openHttp(sdk, specFor) {
		const port = await freePort();
		const spec = specFor(`127.0.0.1:${port}`);
		const child = spawn(spec.command, spec.args, { stdio: ['ignore', 'ignore', 'pipe'] });
		const stderr = tailOf(child.stderr);
		const exited = new Promise((resolve) => child.once('exit', resolve));
		const url = new URL(`http://127.0.0.1:${port}/mcp`);
		const deadline = performance.now() + 10000;
		let client;
		let transport;
		// Nothing announces that the port is open, so the client keeps trying; a refused connection costs
		// well under a millisecond on loopback, so this polls finely.
		for (;;) {
			client = new sdk.Client({ name: 'tarnwick-bench', version: '0.0.0' });
			transport = new sdk.StreamableHTTPClientTransport(url);
			try {
				await client.connect(transport);
				break;
			} catch (error) {
				await client.close().catch(() => {});
				if (child.exitCode !== null || performance.now() > deadline) {
					child.kill('SIGKILL');
					throw new Error(`${spec.command} did not initialize over HTTP: ${error.message}\n${stderr.text}`);
				}
				await sleep(1);
			}
		}
		const session = new Session();
		session.client = client;
		session.pid = child.pid;
		session.stderr = stderr;
		session.close = async () => {
			await transport.terminateSession().catch(() => {});
			await client.close().catch(() => {});
			child.kill('SIGTERM');
			const timer = setTimeout(() => child.kill('SIGKILL'), 3000);
			await exited;
			clearTimeout(timer);
		};
		return session;
	}

	static open(sdk, transportName, specs) {
		return transportName === 'stdio' ? Session.openStdio(sdk, specs.stdio()) : Session.openHttp(sdk, specs.http);
	}

	async call() {
		const result = await this.client.callTool({ name: 'brindle_list_async_jobs', arguments: {} });
		const s = result.structuredContent;
		if (result.isError || !s || s.count !== 0 || s.running_count !== 0 || !Array.isArray(s.jobs)) {
			throw new Error(`unexpected answer: ${JSON.stringify(result)}`);
		}
	}
}

async function measureStartups(sdk, transportName, commands, count) {
	const times = { tarnwick: [], baseline: [] };
	for (let i = 0; i < count; ++i) {
		for (const name of ['tarnwick', 'baseline']) {
			const start = performance.now();
			const session = await Session.open(sdk, transportName, commands[name]);
			times[name].push(performance.now() - start);
			await session.close();
		}
	}
	return times;
}

async function measureCalls(sdk, transportName, commands, options) {
	const sessions = {};
	try {
		for (const name of ['tarnwick', 'baseline']) {
			sessions[name] = await Session.open(sdk, transportName, commands[name]);
			await sessions[name].client.listTools();
		}
		for (const name of ['tarnwick', 'baseline']) {
			for (let i = 0; i < options.warmup; ++i) await sessions[name].call();
		}
		// What each server burns doing nothing (the editor's frame loop, timers), to tell it from the calls' cost.
		const idleStart = performance.now();
		const idleBefore = Object.fromEntries(Object.entries(sessions).map(([name, session]) => [name, readCpu(session.pid)]));
		await sleep(options.idleMs);
		const idleSeconds = (performance.now() - idleStart) / 1000;
		const idleCpuPerSecond = {};
		for (const [name, session] of Object.entries(sessions)) {
			idleCpuPerSecond[name] = cpuDelta(idleBefore[name], readCpu(session.pid)).seconds / idleSeconds;
		}
		const totals = {};
		for (const name of ['tarnwick', 'baseline']) {
			totals[name] = { calls: 0, wallSeconds: 0, cpuSeconds: 0, tickSeconds: 0, clientCpuSeconds: 0, sources: new Set(), latencies: [] };
		}
		const perRound = Math.ceil(options.calls / options.rounds);
		for (let round = 0; round < options.rounds; ++round) {
			// Alternate which server goes first, so neither always follows the other's garbage collection.
			const order = round % 2 ? ['baseline', 'tarnwick'] : ['tarnwick', 'baseline'];
			for (const name of order) {
				const session = sessions[name];
				const total = totals[name];
				const n = Math.min(perRound, options.calls - total.calls);
				const cpuBefore = readCpu(session.pid);
				const clientBefore = process.cpuUsage();
				const start = performance.now();
				for (let i = 0; i < n; ++i) {
					const t0 = performance.now();
					await session.call();
					total.latencies.push((performance.now() - t0) * 1000);
				}
				const wall = (performance.now() - start) / 1000;
				const clientCpu = process.cpuUsage(clientBefore);
				const cpu = cpuDelta(cpuBefore, readCpu(session.pid));
				total.calls += n;
				total.wallSeconds += wall;
				total.cpuSeconds += cpu.seconds;
				total.tickSeconds += cpu.tickSeconds;
				total.clientCpuSeconds += (clientCpu.user + clientCpu.system) / 1e6;
				total.sources.add(cpu.source);
			}
		}
		const out = {};
		for (const [name, t] of Object.entries(totals)) {
			t.latencies.sort((a, b) => a - b);
			out[name] = {
				calls: t.calls,
				callsPerSecond: t.calls / t.wallSeconds,
				serverCpuMicrosPerCall: (t.cpuSeconds / t.calls) * 1e6,
				serverCpuMicrosPerCallFromTicks: (t.tickSeconds / t.calls) * 1e6,
				idleCpuMillisPerSecond: idleCpuPerSecond[name] * 1e3,
				serverCpuMicrosPerCallNetOfIdle: ((t.cpuSeconds - idleCpuPerSecond[name] * t.wallSeconds) / t.calls) * 1e6,
				cpuSource: [...t.sources].join('+'),
				clientCpuMicrosPerCall: (t.clientCpuSeconds / t.calls) * 1e6,
				latencyMicros: { p50: percentile(t.latencies, 50), p90: percentile(t.latencies, 90), p99: percentile(t.latencies, 99) },
			};
		}
		return out;
	} finally {
		for (const session of Object.values(sessions)) await session.close().catch(() => {});
	}
}

function fmt(value, digits = 1) {
	return Number.isFinite(value) ? value.toFixed(digits) : '-';
}

function printTable(results) {
	const header = ['transport', 'server', 'start-up ms (median)', 'calls/s', 'server CPU µs/call', 'idle CPU ms/s', 'client CPU µs/call', 'latency p50 µs', 'p99 µs'];
	const rows = [header];
	for (const [transportName, r] of Object.entries(results.transports)) {
		for (const name of ['tarnwick', 'baseline']) {
			const c = r.calls[name];
			rows.push([
				transportName,
				name,
				fmt(r.startupMs[name].median),
				fmt(c.callsPerSecond, 0),
				fmt(c.serverCpuMicrosPerCall),
				fmt(c.idleCpuMillisPerSecond, 2),
				fmt(c.clientCpuMicrosPerCall),
				fmt(c.latencyMicros.p50, 0),
				fmt(c.latencyMicros.p99, 0),
			]);
		}
	}
	const widths = header.map((_, i) => Math.max(...rows.map((row) => String(row[i]).length)));
	for (const [index, row] of rows.entries()) {
		console.log(row.map((cell, i) => String(cell).padStart(widths[i])).join('  '));
		if (index === 0) console.log(widths.map((w) => '-'.repeat(w)).join('  '));
	}
	console.log('');
	for (const check of results.checks) {
		console.log(`${check.pass ? 'PASS' : 'MISS'}  ${check.name}: ${check.detail}`);
	}
}

function evaluate(results) {
	const checks = [];
	const stdio = results.transports.stdio;
	if (stdio) {
		const ms = stdio.startupMs.tarnwick.median;
		checks.push({
			name: 'stdio start-up',
			pass: ms < Targets.startupStdioMs,
			detail: `tarnwick ${fmt(ms)} ms (target < ${Targets.startupStdioMs} ms; baseline ${fmt(stdio.startupMs.baseline.median)} ms)`,
		});
		const rate = stdio.calls.tarnwick.callsPerSecond / stdio.calls.baseline.callsPerSecond;
		checks.push({
			name: 'stdio calls/s',
			pass: rate >= Targets.callsPerSecondRatioStdio,
			detail: `${fmt(rate, 2)}x the baseline (target >= ${Targets.callsPerSecondRatioStdio}x)`,
		});
	}
	for (const [transportName, r] of Object.entries(results.transports)) {
		const ratio = r.calls.tarnwick.serverCpuMicrosPerCall / r.calls.baseline.serverCpuMicrosPerCall;
		const target = Targets.cpuRatio[transportName];
		checks.push({
			name: `${transportName} server CPU/call`,
			pass: ratio <= target,
			detail: `${fmt(ratio, 3)} of the baseline, i.e. 1/${fmt(1 / ratio, 1)} (target <= 1/${fmt(1 / target, 0)})`,
		});
	}
	return checks;
}

async function main() {
	let options;
	try {
		options = parseArgs(process.argv.slice(2));
	} catch (error) {
		console.error(`mcp-bench: ${error.message}`);
		process.exit(2);
	}
	if (!fs.existsSync(options.tarnwick)) {
		console.error(`mcp-bench: no tarnwick executable at ${options.tarnwick} (build it, or pass --tarnwick PATH)`);
		process.exit(2);
	}
	const sdk = await loadSdk();
	const projectDir = makeProject();
	const commands = serverCommands(options, projectDir);
	const results = {
		date: new Date().toISOString(),
		machine: {
			nproc: os.availableParallelism ? os.availableParallelism() : os.cpus().length,
			cpu: os.cpus()[0]?.model ?? 'unknown',
			loadAverage: os.loadavg(),
			node: process.version,
			clockTicks: ClockTicks,
		},
		options: { ...options, transports: options.transports },
		transports: {},
	};
	try {
		for (const transportName of options.transports) {
			console.error(`mcp-bench: ${transportName}: start-up x${options.startups} each`);
			const startups = await measureStartups(sdk, transportName, commands, options.startups);
			console.error(`mcp-bench: ${transportName}: ${options.calls} calls each after ${options.warmup} warm-up, ${options.rounds} rounds`);
			const calls = await measureCalls(sdk, transportName, commands, options);
			results.transports[transportName] = {
				startupMs: Object.fromEntries(
					Object.entries(startups).map(([name, times]) => [name, { median: median(times), min: Math.min(...times), max: Math.max(...times), all: times }]),
				),
				calls,
			};
		}
	} finally {
		fs.rmSync(projectDir, { recursive: true, force: true });
	}
	results.checks = evaluate(results);
	results.machine.loadAverageAfter = os.loadavg();
	printTable(results);
	fs.mkdirSync(path.dirname(options.json), { recursive: true });
	fs.writeFileSync(options.json, JSON.stringify(results, null, 2) + '\n');
	console.log(`\nresults: ${options.json}`);
	if (options.check && results.checks.some((c) => !c.pass)) process.exit(1);
}

main().catch((error) => {
	console.error(`mcp-bench: ${error.stack || error.message}`);
	process.exit(2);
});
