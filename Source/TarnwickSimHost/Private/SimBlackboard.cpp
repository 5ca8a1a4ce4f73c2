#include "SimBlackboard.h"

#include "Printf.h"

#include <cctype>
#include <cmath>

namespace Tarnwick::Sim
{
namespace
{
std::string Lower(const std::string& S)
{
	std::string Out = S;
	for (char& C : Out) C = static_cast<char>(std::tolower(static_cast<unsigned char>(C)));
	return Out;
}

bool ReadTriple(const FSimJson& Json, double Out[3])
{
	if (!Json.is_array() || Json.size() != 3) return false;
	for (size_t I = 0; I < 3; ++I)
	{
		if (!Json[I].is_number() || !std::isfinite(Json[I].get<double>())) return false;
		Out[I] = Json[I].get<double>();
	}
	return true;
}
}

int32 FSimBlackboardComponent::GetKeyID(const std::string& KeyName) const
{
	const std::string L = Lower(KeyName);
	for (size_t I = 0; I < Keys.size(); ++I)
	{
		if (Lower(Keys[I].Name) == L) return static_cast<int32>(I);
	}
	return BlackboardInvalidKey;
}

std::string FSimBlackboardComponent::GetKeyName(int32 KeyID) const
{
	return KeyID >= 0 && KeyID < GetNumKeys() ? Keys[static_cast<size_t>(KeyID)].Name : std::string();
}

EBlackboardKeyType FSimBlackboardComponent::GetKeyType(int32 KeyID) const
{
	return KeyID >= 0 && KeyID < GetNumKeys() ? Keys[static_cast<size_t>(KeyID)].Type : EBlackboardKeyType::Float;
}

std::vector<std::string> FSimBlackboardComponent::GetEnumValueNames(int32 KeyID) const
{
	return KeyID >= 0 && KeyID < GetNumKeys() ? Keys[static_cast<size_t>(KeyID)].EnumValues : std::vector<std::string>();
}

const FSimBlackboardComponent::FValue* FSimBlackboardComponent::Get(int32 KeyID, EBlackboardKeyType Type) const
{
	if (KeyID < 0 || KeyID >= GetNumKeys() || Keys[static_cast<size_t>(KeyID)].Type != Type) return nullptr;
	return &Values[static_cast<size_t>(KeyID)];
}

FSimBlackboardComponent::FValue* FSimBlackboardComponent::Set(int32 KeyID, EBlackboardKeyType Type)
{
	return const_cast<FValue*>(static_cast<const FSimBlackboardComponent*>(this)->Get(KeyID, Type));
}

float FSimBlackboardComponent::GetValueAsFloat(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Float);
	return V ? static_cast<float>(V->Number) : 0.0f;
}
int32 FSimBlackboardComponent::GetValueAsInt(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Int);
	return V ? static_cast<int32>(V->Number) : 0;
}
uint8 FSimBlackboardComponent::GetValueAsEnum(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Enum);
	return V ? static_cast<uint8>(V->Number) : 0;
}
bool FSimBlackboardComponent::GetValueAsBool(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Bool);
	return V && V->bValue;
}
std::string FSimBlackboardComponent::GetValueAsString(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::String);
	return V ? V->Text : std::string();
}
std::string FSimBlackboardComponent::GetValueAsName(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Name);
	return V ? V->Text : std::string("None");
}
FVector FSimBlackboardComponent::GetValueAsVector(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Vector);
	return V ? V->Vector : FVector();
}
FRotator FSimBlackboardComponent::GetValueAsRotator(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Rotator);
	return V ? V->Rotator : FRotator();
}
UObject* FSimBlackboardComponent::GetValueAsObject(int32 KeyID) const
{
	const FValue* V = Get(KeyID, EBlackboardKeyType::Object);
	return V ? V->Object.Get() : nullptr;
}

bool FSimBlackboardComponent::SetValueAsFloat(int32 KeyID, float Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Float);
	if (V) V->Number = Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsInt(int32 KeyID, int32 Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Int);
	if (V) V->Number = Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsEnum(int32 KeyID, uint8 Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Enum);
	if (!V || Value >= Keys[static_cast<size_t>(KeyID)].EnumValues.size()) return false;
	V->Number = Value;
	return true;
}
bool FSimBlackboardComponent::SetValueAsBool(int32 KeyID, bool Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Bool);
	if (V) V->bValue = Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsString(int32 KeyID, const std::string& Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::String);
	if (V) V->Text = Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsName(int32 KeyID, const std::string& Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Name);
	if (V) V->Text = Value.empty() ? "None" : Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsVector(int32 KeyID, const FVector& Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Vector);
	if (V) V->Vector = Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsRotator(int32 KeyID, const FRotator& Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Rotator);
	if (V) V->Rotator = Value;
	return V != nullptr;
}
bool FSimBlackboardComponent::SetValueAsObject(int32 KeyID, UObject* Value)
{
	FValue* V = Set(KeyID, EBlackboardKeyType::Object);
	if (V) V->Object = FWeakObjectPtr(Value);
	return V != nullptr;
}

bool FSimBlackboardComponent::InitializeBlackboard(FSimBlackboardData* Data)
{
	Keys.clear();
	Values.clear();
	Asset = FWeakObjectPtr(Data);
	if (!Data) return false;
	Keys = Data->Keys;
	Values.assign(Keys.size(), FValue());
	for (size_t I = 0; I < Keys.size(); ++I)
	{
		if (Keys[I].Type == EBlackboardKeyType::Name) Values[I].Text = "None";
	}
	return true;
}

void FSimBlackboardComponent::CopyGameplayStateFrom(ISimObject& Source)
{
	if (auto* Other = dynamic_cast<FSimBlackboardComponent*>(&Source))
	{
		Asset = Other->Asset;
		Keys = Other->Keys;
		Values = Other->Values;
	}
}

bool FSimBlackboardComponent::SetValueFromJson(int32 KeyID, const FSimJson& Json, const std::function<UObject*(const std::string&)>& Resolve,
	std::string* OutError)
{
	auto Fail = [&](std::string Why) {
		if (OutError) *OutError = std::move(Why);
		return false;
	};
	if (KeyID < 0 || KeyID >= GetNumKeys()) return Fail("no such key");
	const FSimBlackboardKeyDef& Key = Keys[static_cast<size_t>(KeyID)];
	const char* TypeName = LexToString(Key.Type);
	switch (Key.Type)
	{
	case EBlackboardKeyType::Float:
		if (!Json.is_number()) break;
		return SetValueAsFloat(KeyID, Json.get<float>());
	case EBlackboardKeyType::Int:
		if (!Json.is_number_integer()) break;
		return SetValueAsInt(KeyID, Json.get<int32>());
	case EBlackboardKeyType::Enum:
		if (Json.is_number_integer() && Json.get<int64>() >= 0 && Json.get<int64>() < static_cast<int64>(Key.EnumValues.size()))
		{
			return SetValueAsEnum(KeyID, static_cast<uint8>(Json.get<int64>()));
		}
		if (Json.is_string())
		{
			for (size_t I = 0; I < Key.EnumValues.size(); ++I)
			{
				if (Lower(Key.EnumValues[I]) == Lower(Json.get<std::string>())) return SetValueAsEnum(KeyID, static_cast<uint8>(I));
			}
		}
		return Fail(Tarnwick::Printf("%s is not a value of the enum key %s", Json.dump().c_str(), Key.Name.c_str()));
	case EBlackboardKeyType::Bool:
		if (!Json.is_boolean()) break;
		return SetValueAsBool(KeyID, Json.get<bool>());
	case EBlackboardKeyType::String:
		if (!Json.is_string()) break;
		return SetValueAsString(KeyID, Json.get<std::string>());
	case EBlackboardKeyType::Name:
		if (!Json.is_string()) break;
		return SetValueAsName(KeyID, Json.get<std::string>());
	case EBlackboardKeyType::Vector:
	{
		double C[3];
		if (!ReadTriple(Json, C)) break;
		return SetValueAsVector(KeyID, FVector(C[0], C[1], C[2]));
	}
	case EBlackboardKeyType::Rotator:
	{
		double C[3];
		if (!ReadTriple(Json, C)) break;
		return SetValueAsRotator(KeyID, FRotator(C[0], C[1], C[2]));
	}
	case EBlackboardKeyType::Object:
	{
		if (Json.is_null()) return SetValueAsObject(KeyID, nullptr);
		if (!Json.is_string()) break;
		UObject* Object = Resolve ? Resolve(Json.get<std::string>()) : nullptr;
		if (!Object) return Fail(Tarnwick::Printf("no object '%s' for the object key %s", Json.get<std::string>().c_str(), Key.Name.c_str()));
		return SetValueAsObject(KeyID, Object);
	}
	}
	return Fail(Tarnwick::Printf("%s does not fit the %s key %s", Json.dump().c_str(), TypeName, Key.Name.c_str()));
}

FSimJson FSimBlackboardComponent::Describe() const
{
	FSimJson Out = FSimJson::object();
	for (int32 I = 0; I < GetNumKeys(); ++I)
	{
		const FValue& V = Values[static_cast<size_t>(I)];
		switch (Keys[static_cast<size_t>(I)].Type)
		{
		case EBlackboardKeyType::Float:
		case EBlackboardKeyType::Int:
		case EBlackboardKeyType::Enum: Out[Keys[static_cast<size_t>(I)].Name] = V.Number; break;
		case EBlackboardKeyType::Bool: Out[Keys[static_cast<size_t>(I)].Name] = V.bValue; break;
		case EBlackboardKeyType::String:
		case EBlackboardKeyType::Name: Out[Keys[static_cast<size_t>(I)].Name] = V.Text; break;
		case EBlackboardKeyType::Vector: Out[Keys[static_cast<size_t>(I)].Name] = VectorToString(V.Vector); break;
		case EBlackboardKeyType::Rotator: Out[Keys[static_cast<size_t>(I)].Name] = RotatorToString(V.Rotator); break;
		case EBlackboardKeyType::Object:
			Out[Keys[static_cast<size_t>(I)].Name] = V.Object.Get() ? V.Object.Get()->GetPathName() : std::string("None");
			break;
		}
	}
	return Out;
}
}
