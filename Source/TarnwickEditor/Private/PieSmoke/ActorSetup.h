// A session's one-shot actor set-up on the first ready tick: spawn each entry's actors into the PIE world (in
// the Outliner folder Tarnwick/ActorSetup), copy a DataAsset's fields onto them by name, and send pawns walking
// with an AI move. Everything that happens is recorded in the entry for the report; nothing here ends the
// session. Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSpec.h"

#include <string>

class UClass;
class UObject;
class UWorld;

namespace Tarnwick::PieSmoke
{
inline constexpr const char* ActorSetupFolder = "Tarnwick/ActorSetup";

/**
 * The class of an entry: the path as given, or for a Blueprint the generated class it names without the "_C"
 * suffix ("/Game/BP_Crate" and "/Game/BP_Crate.BP_Crate" both find "/Game/BP_Crate.BP_Crate_C").
 */
UClass* ResolveSetupClass(const std::string& ClassPath);

/** Copies each reflected field of Asset onto Target's property of the same name where the types allow. */
void ApplyDataAsset(const UObject& Asset, UObject& Target, FActorSetupActor& OutResult);

/** Runs every entry once on World. */
void RunActorSetup(std::vector<FActorSetupEntry>& Entries, UWorld& World);
}
