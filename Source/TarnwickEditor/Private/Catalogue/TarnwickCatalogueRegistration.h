// Registers the action catalogue into the core's tool registry, one group at a time, in the order the module's
// StartupModule calls it. Each entry is bound to the handler that its subsystem put into the handler table; an
// entry whose subsystem has not supplied one yet is still registered and answers "not implemented yet", so
// the whole interface is always listed and what is missing can be enumerated (ListPendingActions).
#pragma once
#include "Catalogue/TarnwickActionCatalogue.h"
#include "TarnwickEditorHandlers.h"

#include <string>
#include <vector>

namespace Tarnwick::Editor
{
/** The reason clients see when editor.restart is called while the settings do not allow it. */
inline constexpr const char* RestartDisabledReason =
	"editor.restart disabled by user — enable in Plugin Settings → Brindle → Action Gates.";

/** The parameter schema of one entry, as clients see it. */
FJsonPtr BuildParamSchema(const FTarnwickActionSpec& Spec);

/** The handler of an entry that no subsystem has supplied: -32603 "<namespace>.<action> is not implemented yet". */
FTarnwickActionHandler MakeNotImplementedHandler(const std::string& Namespace, const std::string& Action);

/** The handler the table holds for this entry (a legacy name finds its successor's), or null. */
const FTarnwickActionHandler* FindHandler(const FTarnwickHandlerTable& Handlers, const FTarnwickActionSpec& Spec);

/** Registers every entry of the group with its family and annotations; returns how many were registered. */
int32 RegisterCatalogueGroup(ETarnwickRegistrationGroup Group, const FTarnwickHandlerTable& Handlers);

/** "namespace.action" of every catalogue entry without a handler in the table, in catalogue order. */
std::vector<std::string> ListPendingActions(const FTarnwickHandlerTable& Handlers);
}
