#include "TarnwickEngineUtils.h"

#include "Editor.h"
#include "Printf.h"
#include "TarnwickDiagnostics.h"
#include "UObjectGlobals.h"
#include "World.h"

#include <algorithm>
#include <cctype>

namespace
{
bool EqualsIgnoreCase(const std::string& A, const std::string& B)
{
	return A.size() == B.size() &&
		std::equal(A.begin(), A.end(), B.begin(), [](unsigned char X, unsigned char Y) { return std::tolower(X) == std::tolower(Y); });
}
}

namespace TarnwickParamUtils
{
UWorld* GetEditorWorld()
{
	return GEditor ? GEditor->GetEditorWorld() : nullptr;
}
}

namespace Tarnwick
{
UWorld* GetPIEWorld()
{
	if (!GEditor) return nullptr;
	for (const FWorldContext& Context : GEditor->GetWorldContexts())
	{
		if (Context.WorldType == EWorldType::PIE && IsValid(Context.World))
		{
			return Context.World;
		}
	}
	return nullptr;
}

AActor* FindActorInWorld(UWorld* World, const std::string& Name)
{
	if (!IsValid(World) || Name.empty()) return nullptr;
	const std::vector<AActor*> Actors = World->GetActors();
	for (AActor* Actor : Actors)
	{
		if (IsValid(Actor) && EqualsIgnoreCase(Actor->GetActorLabel(), Name)) return Actor;
	}
	for (AActor* Actor : Actors)
	{
		if (IsValid(Actor) && EqualsIgnoreCase(Actor->GetName(), Name)) return Actor;
	}
	return nullptr;
}

AActor* FindActorInPIE(const std::string& Name)
{
	return FindActorInWorld(GetPIEWorld(), Name);
}
}

UObject* FTarnwickAssetUtils::LoadAssetByPath(const std::string& Path, const UClass* Class, std::string* OutError)
{
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	if (!Objects)
	{
		if (OutError) *OutError = "No asset system is available";
		return nullptr;
	}
	// A package path names the asset of the same name inside it: /Game/A/B is /Game/A/B.B.
	std::string ObjectPath = Path;
	if (ObjectPath.find('.', ObjectPath.rfind('/') == std::string::npos ? 0 : ObjectPath.rfind('/')) == std::string::npos)
	{
		ObjectPath += "." + FPackageName::GetShortName(ObjectPath);
	}
	std::string Error;
	UObject* Object = Objects->LoadObject(ObjectPath, &Error);
	if (!Object)
	{
		if (OutError) *OutError = Error.empty() ? Tarnwick::Printf("Asset '%s' not found", Path.c_str()) : Error;
		return nullptr;
	}
	if (Class && !Object->IsA(Class))
	{
		if (OutError)
		{
			*OutError = Tarnwick::Printf("Asset '%s' is a %s, not a %s", Path.c_str(), Object->GetClass()->GetName().c_str(),
				Class->GetName().c_str());
		}
		return nullptr;
	}
	return Object;
}

namespace Tarnwick::Diagnostics
{
bool ResolveAssetPath(const FJsonPtr& Params, const std::string& Key, UObject*& OutObject, FTarnwickActionResult& OutError,
	const UClass* ExpectedClass)
{
	std::string Path;
	if (!RequireString(Params, Key, Path, OutError)) return false;
	std::string Error;
	OutObject = FTarnwickAssetUtils::LoadAssetByPath(Path, ExpectedClass, &Error);
	if (!OutObject)
	{
		OutError = MakeValidationError(Key, Error, "Pass an object path such as /Game/Folder/Asset.Asset");
		return false;
	}
	return true;
}
}
