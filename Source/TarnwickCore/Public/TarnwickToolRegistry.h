// The registry of actions: what the MCP server lists as tools and what a tools/call runs.
//
// Modules register their actions at start-up (game thread) and unregister them at shutdown. An action is
// addressed by namespace and action name; its MCP tool name is "<namespace>_<action>", which must match
// ^[a-z][a-z0-9_]{0,63}$ (clients reject anything else), so registration refuses other names.
#pragma once
#include "Delegates.h"
#include "TarnwickActionResult.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/** MCP tool annotations. Hints left unset are listed with the conservative value a client would assume
 *  (may write, may destroy, not idempotent), except the open world: every action stays inside this editor. */
struct FTarnwickToolAnnotations
{
	std::optional<bool> ReadOnlyHint;
	std::optional<bool> DestructiveHint;
	std::optional<bool> IdempotentHint;
	std::optional<bool> OpenWorldHint;

	static FTarnwickToolAnnotations ReadOnly() { return {true, false, true, false}; }
	static FTarnwickToolAnnotations Mutating(bool bIdempotent = false) { return {false, false, bIdempotent, false}; }
	static FTarnwickToolAnnotations Destructive(bool bIdempotent = false) { return {false, true, bIdempotent, false}; }
	/** True when every hint is given. */
	bool IsComplete() const { return ReadOnlyHint && DestructiveHint && IdempotentHint && OpenWorldHint; }
};

struct FTarnwickActionInfo
{
	std::string Namespace;
	std::string Action;
	std::string Description;
	FJsonPtr ParamSchema;
	FTarnwickActionHandler Handler;
	/** Evaluated at each call; unset means always enabled. */
	std::function<bool()> EnablePredicate;
	std::string DisabledReason;
	FTarnwickToolAnnotations Annotations;
	/** The family the action belongs to for --toolset ("logs" in "editor.logs"); empty when none. */
	std::string Family;
	/** What clients show to people; empty means one made from the action's name ("Tail Log"). */
	std::string Title;

	std::string ToolName() const { return Namespace + "_" + Action; }
};

class FTarnwickToolRegistry
{
public:
	static FTarnwickToolRegistry& Get();

	/** Registers an action. Returns false (and logs an error) for a refused name or a duplicate; a duplicate
	 *  also stops debug builds, since registering a name twice is a programming error. */
	bool RegisterAction(const std::string& Namespace, const std::string& Action, const std::string& Description,
		FTarnwickActionHandler Handler, FJsonPtr ParamSchema, const std::string& Reserved);
	/** Gated form: when Predicate() is false at call time the handler is not run and the call fails with Reason. */
	bool RegisterAction(const std::string& Namespace, const std::string& Action, const std::string& Description,
		FTarnwickActionHandler Handler, FJsonPtr ParamSchema, const std::string& Reserved,
		std::function<bool()> Predicate, const std::string& DisabledReason);

	/** Attaches MCP annotations to a registered action; false when it is not registered. */
	bool SetAnnotations(const std::string& Namespace, const std::string& Action, const FTarnwickToolAnnotations& Annotations);
	/** Puts a registered action into a family for --toolset; false when it is not registered. */
	bool SetFamily(const std::string& Namespace, const std::string& Action, const std::string& Family);
	/** Gives a registered action the title clients show; false when it is not registered. */
	bool SetTitle(const std::string& Namespace, const std::string& Action, const std::string& Title);

	/** Runs an action synchronously on the calling thread, honouring disabled namespaces and gates. */
	FTarnwickActionResult ExecuteAction(const std::string& Namespace, const std::string& Action, const FJsonPtr& Params) const;

	std::vector<FTarnwickActionInfo> GetActions(const std::string& Namespace) const;
	/** Every action, namespaces in first-registration order, actions in registration order. */
	std::vector<FTarnwickActionInfo> GetAllActions() const;
	std::optional<FTarnwickActionInfo> FindAction(const std::string& Namespace, const std::string& Action) const;
	/** Resolves an MCP tool name ("editor_get_recent_logs" or "editor.get_recent_logs"). */
	std::optional<FTarnwickActionInfo> FindTool(const std::string& ToolName) const;
	/** Namespaces with actions or a disabled mark, in first-registration order. */
	std::vector<std::string> GetNamespaces() const;

	void MarkNamespaceDisabled(const std::string& Namespace, const std::string& Reason);
	std::optional<std::string> GetNamespaceDisabledReason(const std::string& Namespace) const;
	/** Every disabled namespace with its reason, in name order. */
	std::map<std::string, std::string> GetDisabledNamespaces() const { return DisabledNamespaces; }
	/** Removes every action of the namespace and its disabled mark, so that it can be registered afresh. */
	void UnregisterNamespace(const std::string& Namespace);

	/** Broadcast (game thread) after anything that changes what tools/list shows: registration, removal,
	 *  disabled marks, annotations, families and titles. Listeners coalesce bursts themselves. */
	TMulticastDelegate<> OnChanged;

	/** True when the MCP tool name "<namespace>_<action>" is acceptable to clients. */
	static bool IsValidToolName(const std::string& ToolName);

	/** Empties the registry; tests only. */
	void ResetForTests();

private:
	bool AddAction(FTarnwickActionInfo Info);

	std::vector<std::string> NamespaceOrder;
	std::map<std::string, std::vector<FTarnwickActionInfo>> ActionsByNamespace;
	std::map<std::string, std::string> DisabledNamespaces;
	/** MCP tool name -> (namespace, action); also catches two pairs that would share one tool name. */
	std::map<std::string, std::pair<std::string, std::string>> ToolIndex;
};
