#include "PieSmoke/ActorSetup.h"

#include "AIController.h"
#include "PieSmoke/SmokeParamReaders.h"
#include "UObjectGlobals.h"
#include "World.h"

namespace Tarnwick::PieSmoke
{
namespace
{
UClass* TryLoadClass(const std::string& Path)
{
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	return Objects ? Objects->LoadClass(Path, nullptr) : nullptr;
}

bool EndsWith(const std::string& Text, const std::string& Suffix)
{
	return Text.size() >= Suffix.size() && Text.compare(Text.size() - Suffix.size(), Suffix.size(), Suffix) == 0;
}

bool IsNumeric(EPropertyType Type)
{
	return Type == EPropertyType::Int32 || Type == EPropertyType::Int64 || Type == EPropertyType::Float || Type == EPropertyType::Double;
}

bool AreCompatible(const FProperty& From, const FProperty& To)
{
	if (IsNumeric(From.Type) && IsNumeric(To.Type)) return true;
	if (From.Type != To.Type) return false;
	if (From.Type == EPropertyType::Struct) return From.StructName == To.StructName;
	if (From.Type == EPropertyType::Enum) return From.EnumName == To.EnumName;
	if (From.Type == EPropertyType::Array) return From.Inner && To.Inner && AreCompatible(*From.Inner, *To.Inner);
	return true;
}

/** The value converted to the target's numeric type, so the host's typed write accepts it. */
FPropertyValue ConvertValue(const FProperty& From, const FProperty& To, const FPropertyValue& Value)
{
	if (!IsNumeric(From.Type) || From.Type == To.Type) return Value;
	const double Number = (From.Type == EPropertyType::Int32 || From.Type == EPropertyType::Int64) ? static_cast<double>(Value.IntValue)
																								 : Value.DoubleValue;
	switch (To.Type)
	{
	case EPropertyType::Int32: return FPropertyValue::MakeInt32(static_cast<int32>(Number));
	case EPropertyType::Int64: return FPropertyValue::MakeInt64(static_cast<int64>(Number));
	case EPropertyType::Float: return FPropertyValue::MakeFloat(static_cast<float>(Number));
	default: return FPropertyValue::MakeDouble(Number);
	}
}

void IssueMoveTo(AActor& Actor, const FVector& Goal, FActorSetupActor& Result)
{
	auto* Pawn = Cast<APawn>(&Actor);
	if (!Pawn)
	{
		Result.MoveResult = "not_a_pawn";
		return;
	}
	if (!Pawn->GetController()) Pawn->SpawnDefaultController();
	AController* Controller = Pawn->GetController();
	if (!Controller)
	{
		Result.MoveResult = "no_controller";
		return;
	}
	auto* AI = Cast<AAIController>(Controller);
	if (!AI)
	{
		Result.MoveResult = "controller_not_ai";
		return;
	}
	Result.bMoveIssued = true;
	switch (AI->MoveToLocation(Goal))
	{
	case EPathFollowingRequestResult::Failed: Result.MoveResult = "failed"; break;
	case EPathFollowingRequestResult::AlreadyAtGoal: Result.MoveResult = "already_at_goal"; break;
	case EPathFollowingRequestResult::RequestSuccessful: Result.MoveResult = "request_successful"; break;
	default: Result.MoveResult = "unknown"; break;
	}
}
}

UClass* ResolveSetupClass(const std::string& ClassPath)
{
	if (UClass* Class = TryLoadClass(ClassPath)) return Class;
	if (ClassPath.find('.') == std::string::npos)
	{
		return TryLoadClass(ClassPath + "." + FPackageName::GetShortName(ClassPath) + "_C");
	}
	if (!EndsWith(ClassPath, "_C")) return TryLoadClass(ClassPath + "_C");
	return nullptr;
}

void ApplyDataAsset(const UObject& Asset, UObject& Target, FActorSetupActor& OutResult)
{
	const UClass* AssetClass = Asset.GetClass();
	const UClass* TargetClass = Target.GetClass();
	if (!AssetClass || !TargetClass) return;
	for (const FProperty* Field : AssetClass->GetProperties())
	{
		const FProperty* Destination = TargetClass->FindPropertyByName(Field->Name);
		FPropertyValue Value;
		if (Destination && AreCompatible(*Field, *Destination) && Asset.GetPropertyValue(*Field, Value) &&
			Target.SetPropertyValue(*Destination, ConvertValue(*Field, *Destination, Value), nullptr))
		{
			OutResult.Applied.push_back(Field->Name);
		}
		else
		{
			OutResult.Unmatched.push_back(Field->Name);
		}
	}
}

void RunActorSetup(std::vector<FActorSetupEntry>& Entries, UWorld& World)
{
	IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
	for (FActorSetupEntry& Entry : Entries)
	{
		UClass* Class = ResolveSetupClass(Entry.ClassPath);
		Entry.bClassResolved = Class != nullptr;
		if (!Class) continue;
		UObject* Asset = nullptr;
		if (!Entry.ApplyDataAsset.empty())
		{
			Asset = Objects ? Objects->LoadObject(Entry.ApplyDataAsset, nullptr) : nullptr;
			Entry.bDataAssetLoaded = Asset != nullptr;
			if (!Asset) Entry.DataAssetError = "could not load apply_data_asset path";
		}
		for (int32 I = 0; I < Entry.Count; ++I)
		{
			FActorSetupActor Result;
			FActorSpawnParameters Params;
			if (static_cast<size_t>(I) < Entry.Locations.size()) Params.Location = Entry.Locations[static_cast<size_t>(I)];
			AActor* Actor = World.SpawnActor(Class, Params, nullptr);
			if (!Actor)
			{
				Result.Error = "SpawnActor returned null";
				Entry.Actors.push_back(std::move(Result));
				continue;
			}
			Actor->SetFolderPath(ActorSetupFolder);
			Result.bSpawned = true;
			Result.Name = Actor->GetName();
			Result.RuntimeClass = Actor->GetClass() ? Actor->GetClass()->GetName() : std::string();
			if (Asset) ApplyDataAsset(*Asset, *Actor, Result);
			if (Entry.bHasMoveTo) IssueMoveTo(*Actor, Entry.MoveTo, Result);
			Entry.Actors.push_back(std::move(Result));
		}
	}
}
}
