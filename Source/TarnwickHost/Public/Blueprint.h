// Blueprint assets, the engine's UBlueprint: a class authored in the editor, with a compile status.
//
// The PIE harness scans the loaded Blueprints for unresolved compile errors before it starts PIE, because
// the engine raises a blocking modal for them (when the Blueprint's display-compile-PIE-warning flag is set).
// Implemented by the host; game thread only.
#pragma once
#include "Object.h"

/** The engine's EBlueprintStatus. */
enum class EBlueprintStatus : uint8
{
	Unknown,
	Dirty,
	Error,
	UpToDate,
	BeingCreated,
	UpToDateWithWarnings,
};

const char* LexToString(EBlueprintStatus Status);

class UBlueprint : public UObject
{
public:
	/** The class the Blueprint generates ("/Game/Blueprints/BP_Hero.BP_Hero_C"); null if it never compiled. */
	virtual UClass* GetGeneratedClass() const = 0;
	/** The class the Blueprint derives from (native or another Blueprint's generated class). */
	virtual UClass* GetParentClass() const = 0;
	virtual EBlueprintStatus GetStatus() const = 0;
	/** The engine's bDisplayCompilePIEWarning: whether an error status makes PIE start raise its modal. */
	virtual bool GetDisplayCompilePIEWarning() const = 0;
};
