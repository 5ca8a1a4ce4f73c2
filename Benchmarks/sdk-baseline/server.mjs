// The speed baseline: an MCP server on the official TypeScript SDK doing the same trivial work as tarnwick's
// brindle_list_async_jobs, so that Benchmarks/mcp-bench.mjs can drive both with the same client and compare.
//
//   node server.mjs --stdio                    newline-delimited JSON-RPC on stdin/stdout
//   node server.mjs --http 127.0.0.1:PORT      Streamable HTTP on /mcp, stateful sessions, plain JSON answers
//
// It is written the way the SDK's own examples write a server: one McpServer per session, the tool registered
// with registerTool, the HTTP transport handed the parsed body. Nothing here is tuned, nor slowed down.
import { randomUUID } from 'node:crypto';
import http from 'node:http';

import { McpServer } from '@modelcontextprotocol/sdk/server/mcp.js';
import { StdioServerTransport } from '@modelcontextprotocol/sdk/server/stdio.js';
import { StreamableHTTPServerTransport } from '@modelcontextprotocol/sdk/server/streamableHttp.js';
import { isInitializeRequest } from '@modelcontextprotocol/sdk/types.js';

function makeServer() {
	const server = new McpServer({ name: 'sdk-baseline', version: '0.0.0' });
	// The same answer as tarnwick with no jobs: the payload as structuredContent and as JSON text.
	server.registerTool(
		'brindle_list_async_jobs',
		{
			description: 'List the asynchronous jobs of this editor session, oldest first (finished jobs are kept for polling).',
			inputSchema: {},
			annotations: { readOnlyHint: true },
		},
		async () => {
			const jobs = [];
			const payload = { jobs, count: jobs.length, running_count: 0 };
			return { content: [{ type: 'text', text: JSON.stringify(payload) }], structuredContent: payload };
		},
	);
	return server;
}

async function serveStdio() {
	await makeServer().connect(new StdioServerTransport());
}

function readBody(req) {
	return new Promise((resolve, reject) => {
		const chunks = [];
		req.on('data', (chunk) => chunks.push(chunk));
		req.on('end', () => resolve(Buffer.concat(chunks).toString('utf8')));
		req.on('error', reject);
	});
}

function sendError(res, status, message) {
	res.writeHead(status, { 'Content-Type': 'application/json' });
	res.end(JSON.stringify({ jsonrpc: '2.0', error: { code: -32000, message }, id: null }));
}

function serveHttp(address) {
	const colon = address.lastIndexOf(':');
	const host = address.slice(0, colon);
	const port = Number(address.slice(colon + 1));
	const transports = new Map();

	const httpServer = http.createServer(async (req, res) => {
		try {
			if (new URL(req.url, 'http://localhost').pathname !== '/mcp') {
				sendError(res, 404, 'Not Found');
				return;
			}
			const sessionId = req.headers['mcp-session-id'];
			if (req.method === 'POST') {
				const text = await readBody(req);
				let body;
				try {
					body = JSON.parse(text);
				} catch {
					sendError(res, 400, 'Parse error');
					return;
				}
				let transport = sessionId ? transports.get(sessionId) : undefined;
				if (!transport) {
					if (sessionId || !isInitializeRequest(body)) {
						sendError(res, sessionId ? 404 : 400, 'Bad Request: no valid session');
						return;
					}
					transport = new StreamableHTTPServerTransport({
						sessionIdGenerator: () => randomUUID(),
						enableJsonResponse: true,
						onsessioninitialized: (id) => transports.set(id, transport),
					});
					transport.onclose = () => {
						if (transport.sessionId) transports.delete(transport.sessionId);
					};
					await makeServer().connect(transport);
				}
				await transport.handleRequest(req, res, body);
				return;
			}
			const transport = sessionId ? transports.get(sessionId) : undefined;
			if (!transport) {
				sendError(res, 400, 'Bad Request: no valid session');
				return;
			}
			await transport.handleRequest(req, res);
		} catch (error) {
			if (!res.headersSent) sendError(res, 500, String(error));
		}
	});
	httpServer.listen(port, host);
}

const args = process.argv.slice(2);
const httpAt = args.indexOf('--http');
if (httpAt >= 0 && args[httpAt + 1]) {
	serveHttp(args[httpAt + 1]);
} else {
	await serveStdio();
}
