// HTTP/1.1 on the wire, without sockets: an incremental request parser and a response writer.
//
// The HTTP transport feeds each connection's parser whatever recv() returned and takes out complete requests
// in order (pipelined requests come out one by one). The parser never blocks and never grows past its limits:
// an over-long header block is refused 431, a body over MaxBodyBytes 413 (from Content-Length before the body
// is read, or as soon as a chunked body passes the limit), and malformed input 400. After a 413 the parser
// would skip the oversized body as it streams past; the HTTP transport instead stops reading and closes the
// connection, so a client cannot make it read (and throw away) an endless body. Any other error ends the stream.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tarnwick::Mcp::Http
{
using FHeader = std::pair<std::string, std::string>;

/** ASCII case-insensitive comparison, as header names and tokens compare. */
bool EqualsNoCase(std::string_view A, std::string_view B);

struct FHttpRequest
{
	std::string Method;
	/** The request target as sent (path and query). */
	std::string Target;
	/** 0 for HTTP/1.0, 1 for HTTP/1.1. */
	int MinorVersion = 1;
	/** In arrival order, names as sent; look them up with FindHeader. */
	std::vector<FHeader> Headers;
	std::string Body;
	/** Whether the connection stays open after the answer (the version's default and the Connection header). */
	bool bKeepAlive = true;
	/** Non-zero when the request must be answered with this status without looking at it further (413: its
	 *  body was too large and is being skipped, so Body is empty). */
	int RefusalStatus = 0;

	/** The first header of that name (case-insensitive), or null. */
	const std::string* FindHeader(std::string_view Name) const;
	bool HasHeader(std::string_view Name) const { return FindHeader(Name) != nullptr; }
	/** The first header's value, or "" when absent. */
	std::string HeaderValue(std::string_view Name) const;
	/** The target without its query string. */
	std::string_view Path() const;
};

struct FHttpLimits
{
	/** Request line and headers together (and a chunked body's trailers). */
	size_t MaxHeaderBytes = 64 * 1024;
	size_t MaxBodyBytes = 4 * 1024 * 1024;
};

enum class EHttpParse
{
	/** No complete request yet: feed more bytes. */
	NeedMore,
	/** A request came out. */
	Request,
	/** The stream is broken; answer GetErrorStatus() and close. Every later call returns Error again. */
	Error,
};

class FHttpRequestParser
{
public:
	explicit FHttpRequestParser(FHttpLimits InLimits = {});

	void Feed(std::string_view Bytes);
	/** Takes out the next complete request, if the bytes fed so far hold one. */
	EHttpParse Next(FHttpRequest& Out);

	/** 400, 413, 431, 501 or 505 once Next has returned Error. */
	int GetErrorStatus() const { return ErrorStatus; }
	/** Why, in a few words, for the error body and the log. */
	const std::string& GetErrorReason() const { return ErrorReason; }
	/** True once, right after the head of a request that sent "Expect: 100-continue" was read and its body is
	 *  still to come: the caller may send "100 Continue" so that the client does not wait before sending it. */
	bool TakeContinueDue();
	/** Bytes fed but not yet consumed (a partial request, or requests not yet taken out). */
	size_t NumBuffered() const { return Input.size() - Pos; }
	/** True while no byte of a next request has arrived: nothing is buffered and no body is being read. */
	bool IsIdle() const { return State == EState::Head && NumBuffered() == 0; }
	/** True once a request's head is in and its body is still arriving. */
	bool IsInBody() const { return State != EState::Head && State != EState::Failed; }
	/** Frees everything held, for a connection that reads no further request. Every later Next is an Error. */
	void Discard();
	/** What this parser holds in memory: the allocations of its input buffer and of the body collected so far. */
	size_t NumHeldBytes() const { return Input.capacity() + Current.Body.capacity(); }

private:
	enum class EState
	{
		Head,
		Body,
		ChunkSize,
		ChunkData,
		ChunkDataEnd,
		Trailers,
		Failed,
	};

	/** Takes the next line from Pos, without its CRLF (or bare LF): 1 when taken, 0 when it is incomplete, -1
	 *  when it is longer than Limit. */
	int TakeLine(std::string_view& OutLine, size_t Limit);
	bool ParseHead(std::string_view Head, FHttpRequest& Out);
	EHttpParse Fail(int Status, std::string Reason);
	/** The request's body is complete: hands it out, or drops it when it was being skipped. */
	bool FinishRequest(FHttpRequest& Out);
	/** The body so far passed the limit: the request comes out refused and the rest of the body is skipped. */
	void StartSkipping(FHttpRequest& Out);
	/** Adds to the current body (Remaining still counts these bytes). */
	void AppendBody(std::string_view Bytes);
	void Compact();

	FHttpLimits Limits;
	std::string Input;
	size_t Pos = 0;
	/** How far the current head (or line) was already searched for its end, so a slow client costs linear time. */
	size_t Scanned = 0;
	EState State = EState::Head;
	FHttpRequest Current;
	bool bChunked = false;
	/** The body is being read only to be thrown away (its request already came out refused). */
	bool bSkipping = false;
	bool bContinueDue = false;
	size_t Remaining = 0;
	size_t TrailerBytes = 0;
	int ErrorStatus = 0;
	std::string ErrorReason;
};

enum class EConnectionHeader
{
	None,
	Close,
	KeepAlive,
};

/** The standard reason phrase of a status ("Not Found"), or "Unknown". */
const char* ReasonPhrase(int Status);

/** Appends one complete response (status line, headers, Content-Length unless 1xx/204, the body unless
 *  bOmitBody for HEAD) to Out, so that it can leave in one send(). */
void AppendResponse(std::string& Out, int Status, const std::vector<FHeader>& Headers, std::string_view Body,
	EConnectionHeader Connection, bool bOmitBody = false);
}
