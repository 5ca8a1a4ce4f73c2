#include "Common/GameplayWorlds.h"

#include "Editor.h"
#include "Printf.h"
#include "TarnwickDiagnostics.h"
#include "TarnwickEngineUtils.h"
#include "World.h"

#include <cctype>
#include <cmath>

namespace Tarnwick::Gameplay
{
FTarnwickActionResult InvalidParam(const std::string& Field, const std::string& Message)
{
	return Tarnwick::Diagnostics::MakeValidationError(Field, Message, "");
}

FTarnwickActionResult EditorFailure(const std::string& Message)
{
	return FTarnwickActionResult(Message, Tarnwick::ErrorCodes::InternalError);
}

bool ReadWorldChoice(const FJsonPtr& Params, EWorldChoice Default, EWorldChoice& OutChoice, FTarnwickActionResult& OutError)
{
	OutChoice = Default;
	if (!Params || !Params->is_object()) return true;
	const auto It = Params->find("world");
	if (It == Params->end() || It->is_null()) return true;
	std::string Text = It->is_string() ? It->get<std::string>() : std::string();
	for (char& C : Text) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	if (Text == "auto") OutChoice = EWorldChoice::Auto;
	else if (Text == "editor") OutChoice = EWorldChoice::Editor;
	else if (Text == "pie") OutChoice = EWorldChoice::Pie;
	else
	{
		OutError = InvalidParam("world", Tarnwick::Printf("Parameter 'world' must be auto, editor or pie (got %s)", It->dump().c_str()));
		return false;
	}
	return true;
}

UWorld* RequirePieWorld(FTarnwickActionResult& OutError)
{
	UWorld* World = Tarnwick::GetPIEWorld();
	if (!World) OutError = Tarnwick::MakePIERequiredError();
	return World;
}

UWorld* ResolveWorld(EWorldChoice Choice, std::string& OutWhich, FTarnwickActionResult& OutError)
{
	if (!GEditor)
	{
		OutError = EditorFailure("GEditor not available");
		return nullptr;
	}
	UWorld* Pie = Tarnwick::GetPIEWorld();
	if (Choice == EWorldChoice::Pie || (Choice == EWorldChoice::Auto && Pie))
	{
		OutWhich = "pie";
		return RequirePieWorld(OutError);
	}
	OutWhich = "editor";
	UWorld* Editor = GEditor->GetEditorWorld();
	if (!Editor) OutError = EditorFailure("No editor world is loaded.");
	return Editor;
}

AActor* RequireActor(UWorld* World, const std::string& WorldName, const std::string& Name, FTarnwickActionResult& OutError)
{
	AActor* Actor = Tarnwick::FindActorInWorld(World, Name);
	if (!Actor)
	{
		OutError = InvalidParam("actor", Tarnwick::Printf("no actor matching '%s' in the %s world (searched actor labels and object names, "
														  "case-insensitive)",
											 Name.c_str(), WorldName == "pie" ? "PIE" : "editor"));
	}
	return Actor;
}

bool ReadVectorParam(const FJsonPtr& Params, const std::string& Key, FVector& OutVector, FTarnwickActionResult& OutError)
{
	const FJson* Value = nullptr;
	if (Params && Params->is_object())
	{
		if (const auto It = Params->find(Key); It != Params->end() && !It->is_null()) Value = &*It;
	}
	if (!Value)
	{
		OutError = InvalidParam(Key, Tarnwick::Printf("Missing required parameter '%s'", Key.c_str()));
		return false;
	}
	bool bOk = Value->is_array() && Value->size() == 3;
	double C[3] = {0, 0, 0};
	for (size_t I = 0; bOk && I < 3; ++I)
	{
		bOk = (*Value)[I].is_number() && std::isfinite((*Value)[I].get<double>());
		if (bOk) C[I] = (*Value)[I].get<double>();
	}
	if (!bOk)
	{
		OutError = InvalidParam(Key, Tarnwick::Printf("Parameter '%s' must be [x, y, z] of finite numbers (got %s)", Key.c_str(), Value->dump().c_str()));
		return false;
	}
	OutVector = FVector(C[0], C[1], C[2]);
	return true;
}

bool ReadOptionalNumber(const FJsonPtr& Params, const std::string& Key, double& OutValue, bool& OutPresent, FTarnwickActionResult& OutError)
{
	OutPresent = false;
	if (!Params || !Params->is_object()) return true;
	const auto It = Params->find(Key);
	if (It == Params->end() || It->is_null()) return true;
	if (!It->is_number() || !std::isfinite(It->get<double>()))
	{
		OutError = InvalidParam(Key, Tarnwick::Printf("Parameter '%s' must be a number (got %s)", Key.c_str(), It->dump().c_str()));
		return false;
	}
	OutValue = It->get<double>();
	OutPresent = true;
	return true;
}

FJson VectorJson(const FVector& V)
{
	return FJson::array({V.X, V.Y, V.Z});
}
}
