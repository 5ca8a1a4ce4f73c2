#include "Mcp/TarnwickHttpEventStream.h"

#include <charconv>

namespace Tarnwick::Mcp::Http
{
std::string FormatEvent(uint64 Id, std::string_view Data)
{
	std::string Out = "id: " + std::to_string(Id) + "\ndata: ";
	Out.append(Data);
	Out += "\n\n";
	return Out;
}

std::string_view HeartbeatEvent()
{
	return ": keep-alive\n\n";
}

void AppendChunk(std::string& Out, std::string_view Bytes)
{
	if (Bytes.empty()) return;
	char Size[24];
	const auto Result = std::to_chars(Size, Size + sizeof(Size), Bytes.size(), 16);
	Out.append(Size, static_cast<size_t>(Result.ptr - Size));
	Out += "\r\n";
	Out.append(Bytes);
	Out += "\r\n";
}

std::string_view LastChunk()
{
	return "0\r\n\r\n";
}

std::optional<uint64> ParseEventId(std::string_view Header)
{
	while (!Header.empty() && Header.front() == ' ') Header.remove_prefix(1);
	while (!Header.empty() && Header.back() == ' ') Header.remove_suffix(1);
	uint64 Id = 0;
	const auto [End, Error] = std::from_chars(Header.data(), Header.data() + Header.size(), Id);
	if (Header.empty() || Error != std::errc() || End != Header.data() + Header.size()) return std::nullopt;
	return Id;
}

const std::string& FEventReplay::Add(std::string_view Data)
{
	const uint64 Id = NextId++;
	Events.emplace_back(Id, FormatEvent(Id, Data));
	while (Events.size() > Capacity) Events.pop_front();
	return Events.back().second;
}

std::string FEventReplay::Since(uint64 LastSeen) const
{
	std::string Out;
	for (const auto& [Id, Text] : Events)
	{
		if (Id > LastSeen) Out += Text;
	}
	return Out;
}
}
