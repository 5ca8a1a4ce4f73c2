// The catalogue of the gameplay module's actions, in the same form as the editor's: namespace, action, family,
// annotations, description and parameters in the order clients see them. Plain data (GameplayCatalogue.cpp),
// so that the interface the agent sees reads in one place; registration binds each entry to its handler and
// refuses parameters an entry does not declare.
#pragma once
#include "TarnwickActionResult.h"
#include "TarnwickParamSchemaBuilder.h"
#include "TarnwickToolRegistry.h"

#include <string>
#include <vector>

namespace Tarnwick::Gameplay
{
inline constexpr const char* PieNamespace = "pie";
inline constexpr const char* AiNamespace = "ai";
inline constexpr const char* GasNamespace = "gas";

struct FGameplayParamSpec
{
	std::string Name;
	std::string Type;
	std::string Description;
	bool bRequired = false;
	/** Registered default text; empty means no "default" field. */
	std::string Default;
};

struct FGameplayActionSpec
{
	std::string Namespace;
	std::string Action;
	std::string Family;
	FTarnwickToolAnnotations Annotations;
	std::string Description;
	std::vector<FGameplayParamSpec> Params;

	std::string QualifiedName() const { return Namespace + "." + Action; }
};

/** Every entry, namespaces in registration order (pie, ai, gas). */
const std::vector<FGameplayActionSpec>& GetGameplayCatalogue();

/** The entry's parameter schema as clients see it. */
FJsonPtr BuildParamSchema(const FGameplayActionSpec& Spec);

/**
 * A -32602 error when Params holds a parameter the entry does not declare (the reserved session id aside):
 * "<namespace>.<action> does not take '<name>' (it takes: a, b)". Null result when every parameter is known.
 */
bool CheckKnownParams(const FGameplayActionSpec& Spec, const FJsonPtr& Params, FTarnwickActionResult& OutError);
}
