// The two ways a client reaches the server: newline-delimited JSON-RPC over stdio, and Streamable HTTP on one
// endpoint (/mcp). Both only move bytes and sessions; FServer does the protocol.
#pragma once
#include "Mcp/TarnwickMcpServer.h"

#include <atomic>
#include <memory>
#include <string>

namespace Tarnwick::Mcp
{
/** Reads requests from an input fd on its own thread, writes one response per line to an output fd.
 *  Nothing else may write to the output fd; logs go to stderr. */
class FStdioTransport
{
public:
	FStdioTransport(FServer& InServer, int InFd = 0, int OutFd = 1);
	~FStdioTransport();

	void Start();
	/** True once the input has ended and every pending reply has been written. */
	bool IsFinished() const;
	const std::string& GetSessionId() const;

private:
	struct FImpl;
	std::unique_ptr<FImpl> Impl;
};

struct FHttpOptions
{
	std::string Host = "127.0.0.1";
	int Port = 8765;
	/** When non-empty, every request needs "Authorization: Bearer <Token>". */
	std::string Token;
	size_t MaxBodyBytes = MaxMessageBytes;
};

class FHttpTransport
{
public:
	FHttpTransport(FServer& InServer, FHttpOptions InOptions);
	~FHttpTransport();

	/** Binds and starts serving on background threads; false (with a reason) when the address cannot be bound. */
	bool Start(std::string& OutError);
	void Stop();
	/** The bound port (useful with port 0). */
	int GetPort() const;

private:
	struct FImpl;
	std::unique_ptr<FImpl> Impl;
};
}
