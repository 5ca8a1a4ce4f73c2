#include "Pie/PieBlueprintErrors.h"

#include "UObjectGlobals.h"

namespace Tarnwick::Pie
{
bool IsErroredBlueprint(const UBlueprint* Blueprint)
{
	return IsValid(Blueprint) && Blueprint->GetStatus() == EBlueprintStatus::Error && Blueprint->GetDisplayCompilePIEWarning();
}

FJson ListErroredBlueprints()
{
	FJson List = FJson::array();
	const IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	if (!Objects) return List;
	for (const UBlueprint* Blueprint : Objects->GetLoadedBlueprints())
	{
		if (!IsErroredBlueprint(Blueprint)) continue;
		List.push_back(FJson{{"name", Blueprint->GetName()}, {"path", Blueprint->GetPathName()}});
	}
	return List;
}
}
