// The checks both transports must pass through the official client: the core tools are listed with schemas,
// a core tool answers with structured content, a failing call is a tool error, an unknown tool a JSON-RPC error.
import assert from 'node:assert/strict';

import { McpError } from '@modelcontextprotocol/sdk/types.js';

export const CoreTools = ['brindle_get_async_job', 'brindle_list_async_jobs', 'brindle_cancel_async_job'];

export async function checkServerInfo(client) {
  const info = client.getServerVersion();
  assert.equal(info.name, 'tarnwick');
  assert.ok(client.getServerCapabilities()?.tools, 'the server announces tools');
}

export async function checkCoreToolsListed(client) {
  const { tools } = await client.listTools();
  for (const name of CoreTools) {
    const tool = tools.find((t) => t.name === name);
    assert.ok(tool, `${name} is listed`);
    assert.equal(tool.inputSchema?.type, 'object', `${name} has an object input schema`);
  }
}

export async function checkListJobs(client) {
  const result = await client.callTool({ name: 'brindle_list_async_jobs', arguments: {} });
  assert.notEqual(result.isError, true, JSON.stringify(result));
  assert.deepEqual(result.structuredContent.jobs, []);
  // The same result travels as JSON text for clients that read only content.
  const text = result.content.find((c) => c.type === 'text');
  assert.ok(text, 'a text content item');
  assert.deepEqual(JSON.parse(text.text).jobs, []);
}

export async function checkUnknownJobIsToolError(client) {
  const result = await client.callTool({ name: 'brindle_get_async_job', arguments: { job_id: 'no-such-job' } });
  assert.equal(result.isError, true, JSON.stringify(result));
  const text = result.content.find((c) => c.type === 'text');
  assert.ok(text && text.text.length > 0, 'the failure carries a message');
}

export async function checkUnknownToolIsRpcError(client) {
  await assert.rejects(
    client.callTool({ name: 'brindle_no_such_tool', arguments: {} }),
    (error) => {
      assert.ok(error instanceof McpError, `McpError expected, got ${error}`);
      assert.equal(error.code, -32602);
      return true;
    },
  );
}
