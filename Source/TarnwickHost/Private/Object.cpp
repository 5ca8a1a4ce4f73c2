#include "Blueprint.h"
#include "Object.h"

#include <cctype>

namespace
{
bool NamesEqual(std::string_view A, std::string_view B)
{
	if (A.size() != B.size()) return false;
	for (size_t I = 0; I < A.size(); ++I)
	{
		if (std::tolower(static_cast<unsigned char>(A[I])) != std::tolower(static_cast<unsigned char>(B[I]))) return false;
	}
	return true;
}
}

const char* LexToString(EPropertyType Type)
{
	switch (Type)
	{
	case EPropertyType::Bool: return "BoolProperty";
	case EPropertyType::Int32: return "IntProperty";
	case EPropertyType::Int64: return "Int64Property";
	case EPropertyType::Float: return "FloatProperty";
	case EPropertyType::Double: return "DoubleProperty";
	case EPropertyType::Enum: return "EnumProperty";
	case EPropertyType::String: return "StrProperty";
	case EPropertyType::Name: return "NameProperty";
	case EPropertyType::Text: return "TextProperty";
	case EPropertyType::Vector: return "StructProperty";
	case EPropertyType::Rotator: return "StructProperty";
	case EPropertyType::Object: return "ObjectProperty";
	case EPropertyType::Class: return "ClassProperty";
	case EPropertyType::SoftObject: return "SoftObjectProperty";
	case EPropertyType::SoftClass: return "SoftClassProperty";
	case EPropertyType::Struct: return "StructProperty";
	case EPropertyType::Array: return "ArrayProperty";
	}
	return "Property";
}

const char* LexToString(EBlueprintStatus Status)
{
	switch (Status)
	{
	case EBlueprintStatus::Unknown: return "BS_Unknown";
	case EBlueprintStatus::Dirty: return "BS_Dirty";
	case EBlueprintStatus::Error: return "BS_Error";
	case EBlueprintStatus::UpToDate: return "BS_UpToDate";
	case EBlueprintStatus::BeingCreated: return "BS_BeingCreated";
	case EBlueprintStatus::UpToDateWithWarnings: return "BS_UpToDateWithWarnings";
	}
	return "BS_Unknown";
}

FWeakObjectPtr::FWeakObjectPtr(const UObject* Object)
{
	if (Object && !Object->IsPendingKill())
	{
		Lifetime = Object->GetLifetime();
	}
}

const FProperty* FProperty::FindField(std::string_view FieldName) const
{
	for (const FProperty& Field : Fields)
	{
		if (NamesEqual(Field.Name, FieldName)) return &Field;
	}
	return nullptr;
}

const FEnumEntry* FProperty::FindEnumEntry(std::string_view EntryName) const
{
	for (const FEnumEntry& Entry : EnumEntries)
	{
		if (NamesEqual(Entry.Name, EntryName)) return &Entry;
	}
	return nullptr;
}

const FEnumEntry* FProperty::FindEnumEntry(int64 Value) const
{
	for (const FEnumEntry& Entry : EnumEntries)
	{
		if (Entry.Value == Value) return &Entry;
	}
	return nullptr;
}

FPropertyValue FPropertyValue::MakeBool(bool V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Bool;
	Out.bValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeInt32(int32 V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Int32;
	Out.IntValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeInt64(int64 V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Int64;
	Out.IntValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeFloat(float V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Float;
	Out.DoubleValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeDouble(double V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Double;
	Out.DoubleValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeEnum(std::string EntryName, int64 V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Enum;
	Out.StringValue = std::move(EntryName);
	Out.IntValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeString(EPropertyType StringType, std::string V)
{
	FPropertyValue Out;
	Out.Type = StringType;
	Out.StringValue = std::move(V);
	return Out;
}

FPropertyValue FPropertyValue::MakeVector(const FVector& V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Vector;
	Out.VectorValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeRotator(const FRotator& V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Rotator;
	Out.RotatorValue = V;
	return Out;
}

FPropertyValue FPropertyValue::MakeObject(const UObject* V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Object;
	Out.ObjectValue = FWeakObjectPtr(V);
	return Out;
}

FPropertyValue FPropertyValue::MakeClass(const UClass* V)
{
	FPropertyValue Out;
	Out.Type = EPropertyType::Class;
	Out.ObjectValue = FWeakObjectPtr(V);
	return Out;
}

FPropertyValue FPropertyValue::MakeSoftPath(EPropertyType SoftType, std::string Path)
{
	FPropertyValue Out;
	Out.Type = SoftType;
	Out.StringValue = std::move(Path);
	return Out;
}

const FPropertyValue* FPropertyValue::FindField(std::string_view FieldName) const
{
	for (const auto& [Name, Value] : Fields)
	{
		if (NamesEqual(Name, FieldName)) return &Value;
	}
	return nullptr;
}

bool FPropertyValue::operator==(const FPropertyValue& Other) const
{
	if (Type != Other.Type) return false;
	switch (Type)
	{
	case EPropertyType::Bool: return bValue == Other.bValue;
	case EPropertyType::Int32:
	case EPropertyType::Int64: return IntValue == Other.IntValue;
	case EPropertyType::Float:
	case EPropertyType::Double: return DoubleValue == Other.DoubleValue;
	case EPropertyType::Enum: return IntValue == Other.IntValue && StringValue == Other.StringValue;
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass: return StringValue == Other.StringValue;
	case EPropertyType::Vector: return VectorValue == Other.VectorValue;
	case EPropertyType::Rotator: return RotatorValue == Other.RotatorValue;
	case EPropertyType::Object:
	case EPropertyType::Class: return ObjectValue.Get() == Other.ObjectValue.Get();
	case EPropertyType::Struct: return Fields == Other.Fields;
	case EPropertyType::Array: return Elements == Other.Elements;
	}
	return false;
}

UObject::UObject() : Lifetime(std::make_shared<Tarnwick::Host::FObjectLifetime>())
{
	Lifetime->Object = this;
}

UObject::~UObject()
{
	Lifetime->Object = nullptr;
}

UObject* UObject::GetOutermost() const
{
	const UObject* Current = this;
	while (UObject* Outer = Current->GetOuter())
	{
		Current = Outer;
	}
	return const_cast<UObject*>(Current);
}

bool UObject::IsA(const UClass* Class) const
{
	const UClass* Mine = GetClass();
	return Mine && Mine->IsChildOf(Class);
}

bool UClass::IsChildOf(const UClass* Other) const
{
	if (!Other) return false;
	for (const UClass* Current = this; Current; Current = Current->GetSuperClass())
	{
		if (Current == Other) return true;
	}
	return false;
}
