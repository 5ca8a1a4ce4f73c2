#include "Catalogue/TarnwickCatalogueRegistration.h"

#include "Printf.h"
#include "TarnwickSettings.h"

namespace Tarnwick::Editor
{
FJsonPtr BuildParamSchema(const FTarnwickActionSpec& Spec)
{
	FTarnwickParamSchemaBuilder Builder;
	for (const FTarnwickParamSpec& Param : Spec.Params)
	{
		Builder.Add(Param.Name, Param.Type, Param.Description, Param.bRequired, Param.Default, !Param.Default.empty(), {},
			Param.Kind, Param.Shape);
	}
	return Builder.Build();
}

FTarnwickActionHandler MakeNotImplementedHandler(const std::string& Namespace, const std::string& Action)
{
	const std::string Message = Tarnwick::Printf("%s.%s is not implemented yet", Namespace.c_str(), Action.c_str());
	return [Message](const FJsonPtr&) { return FTarnwickActionResult(Message, Tarnwick::ErrorCodes::InternalError); };
}

const FTarnwickActionHandler* FindHandler(const FTarnwickHandlerTable& Handlers, const FTarnwickActionSpec& Spec)
{
	const FTarnwickActionHandler* Handler = Handlers.Find(Spec.Namespace, Spec.GetHandlerAction());
	return Handler && *Handler ? Handler : nullptr;
}

int32 RegisterCatalogueGroup(ETarnwickRegistrationGroup Group, const FTarnwickHandlerTable& Handlers)
{
	FTarnwickToolRegistry& Registry = FTarnwickToolRegistry::Get();
	int32 Registered = 0;
	for (const FTarnwickActionSpec& Spec : GetActionCatalogue(Group))
	{
		const FTarnwickActionHandler* Found = FindHandler(Handlers, Spec);
		FTarnwickActionHandler Handler = Found ? *Found : MakeNotImplementedHandler(Spec.Namespace, Spec.Action);
		const FJsonPtr Schema = BuildParamSchema(Spec);

		bool bAdded = false;
		switch (Spec.Gate)
		{
		case ETarnwickActionGate::None:
			bAdded = Registry.RegisterAction(Spec.Namespace, Spec.Action, Spec.Description, std::move(Handler), Schema, "");
			break;
		case ETarnwickActionGate::EditorRestart:
			// Read at every call: the user may allow restarts while the editor runs.
			bAdded = Registry.RegisterAction(Spec.Namespace, Spec.Action, Spec.Description, std::move(Handler), Schema, "",
				[] { return UTarnwickSettings::Get().bAllowEditorRestart; }, RestartDisabledReason);
			break;
		}
		if (!bAdded) continue;

		Registry.SetFamily(Spec.Namespace, Spec.Action, Spec.Family);
		Registry.SetAnnotations(Spec.Namespace, Spec.Action, Spec.Annotations);
		++Registered;
	}
	return Registered;
}

std::vector<std::string> ListPendingActions(const FTarnwickHandlerTable& Handlers)
{
	std::vector<std::string> Pending;
	for (const FTarnwickActionSpec& Spec : GetFullActionCatalogue())
	{
		if (!FindHandler(Handlers, Spec)) Pending.push_back(Spec.QualifiedName());
	}
	return Pending;
}
}
