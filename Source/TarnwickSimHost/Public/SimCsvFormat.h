// The CSV profile layout the simulated editor's profiler writes, as the engine's CSV profiler lays it out: a
// header row of stat names, one row of values per captured frame, the header row again, and a last row of
// metadata as "[key],value" pairs. Pure formatting; docs/profiling.md documents the columns.
#pragma once
#include "HostTypes.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tarnwick::Sim
{
/** What one frame cost, as the frame loop measured it. */
struct FSimFrameStats
{
	/** The frame's delta on the host clock (the fixed delta on the virtual clock). */
	double DeltaSeconds = 0.0;
	/** Wall seconds the game thread spent on the frame, and the render thread on its commands. */
	double GameThreadSeconds = 0.0;
	double RenderThreadSeconds = 0.0;
	int32 DrawCalls = 0;
	int64 PrimitivesDrawn = 0;
	/** Actors of the PIE world, 0 without one. */
	int32 PieActorCount = 0;
};

namespace SimCsv
{
/** The stat columns, in order. */
const std::vector<std::string>& StatNames();
/** One field, quoted (with doubled quotes) when it holds a comma, a quote or a line break. */
std::string Field(std::string_view Text);
/** Fields joined by commas, with a line break. */
std::string Row(const std::vector<std::string>& Fields);
std::string HeaderRow();
std::string StatsRow(const FSimFrameStats& Stats);
/** "[key],value" pairs in order, the engine's trailing metadata row. */
std::string MetadataRow(const std::vector<std::pair<std::string, std::string>>& Metadata);
}
}
