#include "PieSmoke/PieSmokeMapLoader.h"

#include "Editor.h"
#include "PieSmoke/SmokeParamReaders.h"
#include "Printf.h"
#include "UObjectGlobals.h"

namespace Tarnwick::PieSmoke
{
std::optional<std::string> LoadSmokeMap(const std::string& Map)
{
	if (Map.empty()) return std::nullopt;
	if (!GEditor) return std::string("GEditor unavailable — cannot load map for PIE smoke.");
	if (!FPackageName::IsValidLongPackageName(Map) || !FPackageName::DoesPackageExist(Map))
	{
		return Tarnwick::Printf("Map '%s' does not exist (no such package). Pass a level asset path like /Game/Maps/M_Foo, or omit `map` to "
								"use the currently-open level.", Map.c_str());
	}
	if (!GEditor->LoadMap(Map, nullptr)) return Tarnwick::Printf("Failed to load map '%s' for PIE smoke.", Map.c_str());
	const UWorld* EditorWorld = GEditor->GetEditorWorld();
	const std::string Open = EditorWorld ? EditorWorld->GetPackageName() : std::string("<none>");
	if (!EditorWorld || !EqualsIgnoreCase(Open, Map))
	{
		return Tarnwick::Printf("Requested map '%s' but the editor world is '%s' — refusing to report on a different level than the one "
								"asked for.", Map.c_str(), Open.c_str());
	}
	return std::nullopt;
}
}
