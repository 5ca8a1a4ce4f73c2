#include "TarnwickGameplayModule.h"

#include "Catalogue/GameplayCatalogue.h"
#include "GameplayHandlers.h"
#include "Printf.h"
#include "TarnwickLog.h"
#include "TarnwickToolRegistry.h"

namespace Tarnwick::Gameplay
{
namespace
{
FGameplayHandlerTable BuildHandlerTable()
{
	FGameplayHandlerTable Table;
	AddPieHandlers(Table);
	AddAiRuntimeHandlers(Table);
	AddNavigationHandlers(Table);
	AddGasHandlers(Table);
	return Table;
}

/** Refuses parameters the entry does not declare before the handler sees them. */
FTarnwickActionHandler CheckedHandler(const FGameplayActionSpec& Spec, FTarnwickActionHandler Handler)
{
	return [Spec, Handler = std::move(Handler)](const FJsonPtr& Params) {
		FTarnwickActionResult Error;
		if (!CheckKnownParams(Spec, Params, Error)) return Error;
		return Handler(Params ? Params : MakeJsonObject());
	};
}
}
}

FTarnwickGameplayModule::~FTarnwickGameplayModule()
{
	if (bStarted) ShutdownModule();
}

void FTarnwickGameplayModule::StartupModule()
{
	using namespace Tarnwick::Gameplay;
	if (bStarted) return;
	const FGameplayHandlerTable Handlers = BuildHandlerTable();
	FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	int32 Count = 0;
	for (const FGameplayActionSpec& Spec : GetGameplayCatalogue())
	{
		const auto It = Handlers.find({Spec.Namespace, Spec.Action});
		if (It == Handlers.end()) continue;
		if (!Registry.RegisterAction(Spec.Namespace, Spec.Action, Spec.Description, CheckedHandler(Spec, It->second), BuildParamSchema(Spec), ""))
		{
			continue;
		}
		Registry.SetFamily(Spec.Namespace, Spec.Action, Spec.Family);
		Registry.SetAnnotations(Spec.Namespace, Spec.Action, Spec.Annotations);
		++Count;
	}
	bStarted = true;
	TW_LOG(LogTarnwick, Log, "Brindle — Gameplay module loaded (%d actions in pie, ai and gas)", static_cast<int>(Count));
}

void FTarnwickGameplayModule::ShutdownModule()
{
	if (!bStarted) return;
	FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	Registry.UnregisterNamespace(Tarnwick::Gameplay::GasNamespace);
	Registry.UnregisterNamespace(Tarnwick::Gameplay::AiNamespace);
	Registry.UnregisterNamespace(Tarnwick::Gameplay::PieNamespace);
	bStarted = false;
}
