#include "Pie/PieRules.h"

#include "Logs/LogQueryRules.h"

#include <cmath>

namespace Tarnwick::Pie
{
int32 ReadStepFrames(const FJsonPtr& Params)
{
	if (!Params || !Params->is_object()) return 1;
	const auto It = Params->find("frames");
	if (It == Params->end()) return 1;
	// Read like every other count parameter, so a quoted "5" still steps five frames.
	const std::optional<double> Number = Tarnwick::Logs::ReadNumber(*It);
	if (!Number) return 1;
	// Compared as a double: a huge value must not overflow the conversion.
	const double Frames = std::trunc(*Number);
	if (Frames < 2.0) return 1;
	if (Frames > MaxStepFrames) return MaxStepFrames;
	return static_cast<int32>(Frames);
}

const char* WorldTypeName(EWorldType::Type Type)
{
	switch (Type)
	{
	case EWorldType::PIE: return "PIE";
	case EWorldType::Game: return "Game";
	default: return "Other";
	}
}
}
