// libFuzzer target: arbitrary bytes, fed in arbitrary splits, must never crash the HTTP request parser, every
// request it hands out must respect the limits it was given, and what it holds must stay bounded by them.
#include "Mcp/TarnwickHttpRequestParser.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace Tarnwick::Mcp::Http;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size)
{
	if (Size < 1) return 0;
	// The first byte chooses how the rest is split across reads.
	const size_t Step = 1 + Data[0] % 64;
	FHttpLimits Limits;
	Limits.MaxHeaderBytes = 512;
	Limits.MaxBodyBytes = 1024;
	FHttpRequestParser Parser(Limits);
	const std::string_view Bytes(reinterpret_cast<const char*>(Data + 1), Size - 1);
	for (size_t Offset = 0; Offset < Bytes.size(); Offset += Step)
	{
		Parser.Feed(Bytes.substr(Offset, Step));
		Parser.TakeContinueDue();
		FHttpRequest Request;
		EHttpParse Result;
		while ((Result = Parser.Next(Request)) == EHttpParse::Request)
		{
			if (Request.Body.size() > Limits.MaxBodyBytes) std::abort();
			(void)Request.Path();
			(void)Request.HeaderValue("Content-Length");
		}
		// What the parser holds stays within a small multiple of its limits (and of the 16 KiB of consumed input it
		// may keep before compacting), however the bytes come.
		if (Parser.NumHeldBytes() > 2 * (16 * 1024 + Limits.MaxHeaderBytes + Limits.MaxBodyBytes + Step)) std::abort();
		if (Result == EHttpParse::Error)
		{
			const int Status = Parser.GetErrorStatus();
			if (Status != 400 && Status != 413 && Status != 431 && Status != 501 && Status != 505) std::abort();
			break;
		}
	}
	return 0;
}
