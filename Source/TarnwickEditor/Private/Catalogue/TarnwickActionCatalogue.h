// The catalogue of every action the editor module registers: names, descriptions, parameters in order, the
// family used by --toolset and the MCP annotations. It is plain data, kept in one table
// (TarnwickActionCatalogue.cpp), so that the interface the agent sees can be read and reviewed in one place.
// Registration (TarnwickCatalogueRegistration.h) walks it group by group at module start-up and binds each
// entry to its handler; tests and docs/tools.md read it too.
#pragma once
#include "TarnwickParamSchemaBuilder.h"
#include "TarnwickToolRegistry.h"

#include <string>
#include <vector>

/** The registration groups, in the order StartupModule registers them. */
enum class ETarnwickRegistrationGroup
{
	/** The main `editor` table, trigger_build … load_level. */
	EditorMain,
	/** Reflective property, post-process, mobility and waypoint-capture actions. */
	EditorReflection,
	/** The `editor_utility` namespace. */
	EditorUtility,
	/** create_empty_map and get_module_status. */
	EditorMapsAndModules,
	/** get_stat_group_values. */
	EditorStats,
};

inline constexpr ETarnwickRegistrationGroup GTarnwickRegistrationGroups[] = {
	ETarnwickRegistrationGroup::EditorMain,
	ETarnwickRegistrationGroup::EditorReflection,
	ETarnwickRegistrationGroup::EditorUtility,
	ETarnwickRegistrationGroup::EditorMapsAndModules,
	ETarnwickRegistrationGroup::EditorStats,
};

/** How a call is allowed to reach the handler. */
enum class ETarnwickActionGate
{
	/** Always callable. */
	None,
	/** Callable only while the settings allow editor restarts (read at every call). */
	EditorRestart,
};

/** One parameter, as registered: the schema entry is built from exactly these fields. */
struct FTarnwickParamSpec
{
	std::string Name;
	std::string Type;
	std::string Description;
	bool bRequired = false;
	/** Registered default text; empty means the entry has no "default" field. */
	std::string Default;
	EParamKind Kind = EParamKind::None;
	/** Element type and count of an array, or the fixed set a string is one of; empty for most parameters. */
	FTarnwickParamShape Shape;
};

struct FTarnwickActionSpec
{
	std::string Namespace;
	std::string Action;
	/** Family for --toolset ("logs" selects as "editor.logs"). */
	std::string Family;
	std::string Description;
	/** In registration order; empty for an action without parameters. */
	std::vector<FTarnwickParamSpec> Params;
	FTarnwickToolAnnotations Annotations;
	ETarnwickActionGate Gate = ETarnwickActionGate::None;
	/** The action whose handler this one runs, for a legacy name kept beside its successor; empty = itself. */
	std::string HandlerAction;

	const std::string& GetHandlerAction() const { return HandlerAction.empty() ? Action : HandlerAction; }
	std::string QualifiedName() const { return Namespace + "." + Action; }
};

/** The entries of one group, in registration order. */
const std::vector<FTarnwickActionSpec>& GetActionCatalogue(ETarnwickRegistrationGroup Group);

/** Every entry of every group, groups in registration order. */
std::vector<FTarnwickActionSpec> GetFullActionCatalogue();

/** The group's name for messages and tests ("EditorMain"). */
const char* ToString(ETarnwickRegistrationGroup Group);
