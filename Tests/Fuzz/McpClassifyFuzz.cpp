// libFuzzer target: any text a client sends must be classified without crashing, and an invalid message must
// always come with a JSON-RPC error to answer (or be a notification, which is never answered).
#include "Mcp/TarnwickMcpServer.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace Tarnwick::Mcp;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size)
{
	const FIncomingMessage In = FServer::Classify(std::string_view(reinterpret_cast<const char*>(Data), Size));
	if (In.Kind == EMessageKind::Invalid && !In.ErrorResponse.contains("error")) std::abort();
	if (In.Kind == EMessageKind::Request && (In.Method.empty() && !In.Message.contains("method"))) std::abort();
	if (In.Kind == EMessageKind::Invalid) (void)FTarnwickJsonUtils::Write(In.ErrorResponse);
	return 0;
}
