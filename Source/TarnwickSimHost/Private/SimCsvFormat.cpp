#include "SimCsvFormat.h"

#include "Printf.h"

namespace Tarnwick::Sim::SimCsv
{
const std::vector<std::string>& StatNames()
{
	static const std::vector<std::string> Names = {
		"FrameTime", "GameThreadTime", "RenderThreadTime", "RHI/DrawCalls", "RHI/PrimitivesDrawn", "PIE/ActorCount"};
	return Names;
}

std::string Field(std::string_view Text)
{
	if (Text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(Text);
	std::string Out = "\"";
	for (char C : Text)
	{
		if (C == '"') Out += '"';
		Out += C;
	}
	Out += '"';
	return Out;
}

std::string Row(const std::vector<std::string>& Fields)
{
	std::string Out;
	for (size_t I = 0; I < Fields.size(); ++I)
	{
		if (I) Out += ',';
		Out += Field(Fields[I]);
	}
	Out += '\n';
	return Out;
}

std::string HeaderRow() { return Row(StatNames()); }

std::string StatsRow(const FSimFrameStats& Stats)
{
	// Times in milliseconds, as the engine's CSV profiles keep them.
	return Row({Tarnwick::Printf("%.4f", Stats.DeltaSeconds * 1000.0), Tarnwick::Printf("%.4f", Stats.GameThreadSeconds * 1000.0),
		Tarnwick::Printf("%.4f", Stats.RenderThreadSeconds * 1000.0), Tarnwick::Printf("%d", Stats.DrawCalls),
		Tarnwick::Printf("%lld", static_cast<long long>(Stats.PrimitivesDrawn)), Tarnwick::Printf("%d", Stats.PieActorCount)});
}

std::string MetadataRow(const std::vector<std::pair<std::string, std::string>>& Metadata)
{
	std::vector<std::string> Fields;
	for (const auto& [Key, Value] : Metadata)
	{
		Fields.push_back("[" + Key + "]");
		Fields.push_back(Value);
	}
	return Row(Fields);
}
}
