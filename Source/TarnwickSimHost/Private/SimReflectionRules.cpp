#include "SimReflectionRules.h"

#include "Printf.h"

#include <cmath>
#include <limits>

namespace Tarnwick::Sim
{
namespace
{
struct FEnumDesc
{
	const char* Name;
	std::vector<FEnumEntry> Entries;
};

const std::vector<FEnumDesc>& GetEnums()
{
	static const std::vector<FEnumDesc> Enums = {
		{"EComponentMobility", {{"Static", 0}, {"Stationary", 1}, {"Movable", 2}}},
		{"EMovementMode", {{"MOVE_None", 0}, {"MOVE_Walking", 1}, {"MOVE_NavWalking", 2}, {"MOVE_Falling", 3},
			{"MOVE_Swimming", 4}, {"MOVE_Flying", 5}, {"MOVE_Custom", 6}}},
		{"EAutoReceiveInput", {{"Disabled", 0}, {"Player0", 1}, {"Player1", 2}, {"Player2", 3}, {"Player3", 4}}},
		{"EAutoPossessAI", {{"Disabled", 0}, {"PlacedInWorld", 1}, {"Spawned", 2}, {"PlacedInWorldOrSpawned", 3}}},
		{"ECameraProjectionMode", {{"Perspective", 0}, {"Orthographic", 1}}},
		{"EAnimationMode", {{"AnimationBlueprint", 0}, {"AnimationSingleNode", 1}, {"AnimationCustomMode", 2}}},
	};
	return Enums;
}

struct FStructDesc
{
	const char* Name;
	std::vector<FNativePropertyDesc> Fields;
};

const std::vector<FStructDesc>& GetStructs()
{
	static const std::vector<FStructDesc> Structs = {
		{"FColor", {{"B", "int32", ""}, {"G", "int32", ""}, {"R", "int32", ""}, {"A", "int32", "255"}}},
		{"FLinearColor", {{"R", "float", ""}, {"G", "float", ""}, {"B", "float", ""}, {"A", "float", "1"}}},
		{"FPostProcessSettings", {{"bOverride_BloomIntensity", "bool", ""}, {"BloomIntensity", "float", "0.675"},
			{"bOverride_AutoExposureBias", "bool", ""}, {"AutoExposureBias", "float", "1"},
			{"ColorSaturation", "struct:FLinearColor", "{\"R\":1,\"G\":1,\"B\":1,\"A\":1}"}}},
	};
	return Structs;
}

std::string StructCPPType(const std::string& Name) { return Name; }

bool IsNumberType(EPropertyType T)
{
	return T == EPropertyType::Int32 || T == EPropertyType::Int64 || T == EPropertyType::Float || T == EPropertyType::Double;
}

/** True when Class or one of its super classes has the path. */
bool ClassHasAncestor(const UClass* Class, const std::string& Path)
{
	for (const UClass* C = Class; C; C = C->GetSuperClass())
	{
		if (C->GetPathName() == Path) return true;
	}
	return false;
}

std::string TypeName(const FSimJson& Json)
{
	return Json.type_name();
}
}

std::optional<FProperty> ParsePropertyType(const std::string& Name, const std::string& Spec, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> std::optional<FProperty> {
		if (OutError) *OutError = std::move(Why);
		return std::nullopt;
	};
	FProperty P;
	P.Name = Name;
	struct FSimple
	{
		const char* Spec;
		EPropertyType Type;
		const char* CPP;
	};
	static const FSimple Simple[] = {
		{"bool", EPropertyType::Bool, "bool"},
		{"int32", EPropertyType::Int32, "int32"},
		{"int64", EPropertyType::Int64, "int64"},
		{"float", EPropertyType::Float, "float"},
		{"double", EPropertyType::Double, "double"},
		{"FString", EPropertyType::String, "FString"},
		{"FName", EPropertyType::Name, "FName"},
		{"FText", EPropertyType::Text, "FText"},
		{"FVector", EPropertyType::Vector, "FVector"},
		{"FRotator", EPropertyType::Rotator, "FRotator"},
	};
	for (const FSimple& S : Simple)
	{
		if (Spec == S.Spec)
		{
			P.Type = S.Type;
			P.CPPType = S.CPP;
			return P;
		}
	}
	const size_t Colon = Spec.find(':');
	if (Colon == std::string::npos) return Fail(Tarnwick::Printf("unknown type '%s'", Spec.c_str()));
	const std::string Kind = Spec.substr(0, Colon);
	const std::string Arg = Spec.substr(Colon + 1);
	if (Arg.empty()) return Fail(Tarnwick::Printf("type '%s' lacks its argument after ':'", Spec.c_str()));
	if (Kind == "enum")
	{
		for (const FEnumDesc& E : GetEnums())
		{
			if (Arg == E.Name)
			{
				P.Type = EPropertyType::Enum;
				P.CPPType = Arg;
				P.EnumName = Arg;
				P.EnumEntries = E.Entries;
				return P;
			}
		}
		return Fail(Tarnwick::Printf("unknown enum '%s'", Arg.c_str()));
	}
	if (Kind == "struct")
	{
		for (const FStructDesc& S : GetStructs())
		{
			if (Arg != S.Name) continue;
			P.Type = EPropertyType::Struct;
			P.CPPType = StructCPPType(Arg);
			P.StructName = Arg;
			for (const FNativePropertyDesc& F : S.Fields)
			{
				std::optional<FProperty> Field = ParsePropertyType(F.Name, F.TypeSpec, OutError);
				if (!Field) return std::nullopt;
				P.Fields.push_back(std::move(*Field));
			}
			return P;
		}
		return Fail(Tarnwick::Printf("unknown struct '%s'", Arg.c_str()));
	}
	if (Kind == "array")
	{
		if (Arg.rfind("array:", 0) == 0) return Fail("arrays of arrays are not supported");
		std::optional<FProperty> Inner = ParsePropertyType(Name, Arg, OutError);
		if (!Inner) return std::nullopt;
		P.Type = EPropertyType::Array;
		P.CPPType = "TArray<" + Inner->CPPType + ">";
		P.Inner = std::make_shared<const FProperty>(std::move(*Inner));
		return P;
	}
	const std::string ShortClass = Arg.substr(Arg.find('.') == std::string::npos ? 0 : Arg.find('.') + 1);
	if (Arg.front() != '/' || Arg.find('.') == std::string::npos)
	{
		return Fail(Tarnwick::Printf("type '%s' needs a class path like /Script/Engine.Actor", Spec.c_str()));
	}
	P.PropertyClassPath = Arg;
	if (Kind == "object")
	{
		P.Type = EPropertyType::Object;
		P.CPPType = "TObjectPtr<U" + ShortClass + ">";
	}
	else if (Kind == "class")
	{
		P.Type = EPropertyType::Class;
		P.CPPType = "TSubclassOf<U" + ShortClass + ">";
	}
	else if (Kind == "softobject")
	{
		P.Type = EPropertyType::SoftObject;
		P.CPPType = "TSoftObjectPtr<U" + ShortClass + ">";
	}
	else if (Kind == "softclass")
	{
		P.Type = EPropertyType::SoftClass;
		P.CPPType = "TSoftClassPtr<U" + ShortClass + ">";
	}
	else
	{
		return Fail(Tarnwick::Printf("unknown type '%s'", Spec.c_str()));
	}
	return P;
}

FPropertyValue MakeZeroValue(const FProperty& Property)
{
	FPropertyValue V;
	V.Type = Property.Type;
	if (Property.Type == EPropertyType::Enum && !Property.EnumEntries.empty())
	{
		V.StringValue = Property.EnumEntries.front().Name;
		V.IntValue = Property.EnumEntries.front().Value;
	}
	if (Property.Type == EPropertyType::Struct)
	{
		// A struct starts from its default constructor, which the struct table states per field.
		const FStructDesc* Desc = nullptr;
		for (const FStructDesc& S : GetStructs())
		{
			if (Property.StructName == S.Name) Desc = &S;
		}
		for (size_t I = 0; I < Property.Fields.size(); ++I)
		{
			const FProperty& Field = Property.Fields[I];
			FPropertyValue FieldValue = MakeZeroValue(Field);
			if (Desc && I < Desc->Fields.size() && Desc->Fields[I].DefaultJson[0])
			{
				std::optional<FPropertyValue> D =
					PropertyValueFromJson(Field, FSimJson::parse(Desc->Fields[I].DefaultJson), nullptr, &FieldValue, nullptr);
				if (D) FieldValue = std::move(*D);
			}
			V.Fields.emplace_back(Field.Name, std::move(FieldValue));
		}
	}
	return V;
}

std::optional<FPropertyValue> PropertyValueFromJson(const FProperty& Property, const FSimJson& Json,
	const FObjectResolver& Resolver, const FPropertyValue* Base, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> std::optional<FPropertyValue> {
		if (OutError) *OutError = std::move(Why);
		return std::nullopt;
	};
	auto WrongType = [&](const char* Expected) {
		return Fail(Tarnwick::Printf("property '%s' (%s) expects %s, got %s", Property.Name.c_str(), Property.CPPType.c_str(),
			Expected, TypeName(Json).c_str()));
	};
	switch (Property.Type)
	{
	case EPropertyType::Bool:
		if (!Json.is_boolean()) return WrongType("true or false");
		return FPropertyValue::MakeBool(Json.get<bool>());
	case EPropertyType::Int32:
	case EPropertyType::Int64:
	{
		if (!Json.is_number_integer()) return WrongType("an integer");
		if (Json.is_number_unsigned() && Json.get<uint64>() > static_cast<uint64>(std::numeric_limits<int64>::max()))
		{
			return Fail(Tarnwick::Printf("property '%s' (%s): value out of range", Property.Name.c_str(), Property.CPPType.c_str()));
		}
		const int64 V = Json.get<int64>();
		if (Property.Type == EPropertyType::Int32 && (V < std::numeric_limits<int32>::min() || V > std::numeric_limits<int32>::max()))
		{
			return Fail(Tarnwick::Printf("property '%s' (int32): %lld is out of range", Property.Name.c_str(), static_cast<long long>(V)));
		}
		return Property.Type == EPropertyType::Int32 ? FPropertyValue::MakeInt32(static_cast<int32>(V)) : FPropertyValue::MakeInt64(V);
	}
	case EPropertyType::Float:
		if (!Json.is_number()) return WrongType("a number");
		return FPropertyValue::MakeFloat(Json.get<float>());
	case EPropertyType::Double:
		if (!Json.is_number()) return WrongType("a number");
		return FPropertyValue::MakeDouble(Json.get<double>());
	case EPropertyType::Enum:
	{
		const FEnumEntry* Entry = nullptr;
		if (Json.is_string())
		{
			Entry = Property.FindEnumEntry(Json.get<std::string>());
			if (!Entry)
			{
				return Fail(Tarnwick::Printf("property '%s': '%s' is not a value of %s", Property.Name.c_str(),
					Json.get<std::string>().c_str(), Property.EnumName.c_str()));
			}
		}
		else if (Json.is_number_integer())
		{
			Entry = Property.FindEnumEntry(Json.get<int64>());
			if (!Entry)
			{
				return Fail(Tarnwick::Printf("property '%s': %lld is not a value of %s", Property.Name.c_str(),
					static_cast<long long>(Json.get<int64>()), Property.EnumName.c_str()));
			}
		}
		else
		{
			return WrongType("an enum value name or number");
		}
		return FPropertyValue::MakeEnum(Entry->Name, Entry->Value);
	}
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
		if (!Json.is_string()) return WrongType("a string");
		return FPropertyValue::MakeString(Property.Type, Json.get<std::string>());
	case EPropertyType::Vector:
	case EPropertyType::Rotator:
	{
		const bool bVector = Property.Type == EPropertyType::Vector;
		const char* Keys[3] = {bVector ? "X" : "Pitch", bVector ? "Y" : "Yaw", bVector ? "Z" : "Roll"};
		double C[3] = {0, 0, 0};
		if (Json.is_array())
		{
			if (Json.size() != 3) return WrongType(bVector ? "[x, y, z]" : "[pitch, yaw, roll]");
			for (size_t I = 0; I < 3; ++I)
			{
				if (!Json[I].is_number()) return WrongType(bVector ? "[x, y, z]" : "[pitch, yaw, roll]");
				C[I] = Json[I].get<double>();
			}
		}
		else if (Json.is_object())
		{
			for (auto It = Json.begin(); It != Json.end(); ++It)
			{
				int Index = -1;
				for (int I = 0; I < 3; ++I)
				{
					if (It.key() == Keys[I]) Index = I;
				}
				if (Index < 0 || !It.value().is_number())
				{
					return Fail(Tarnwick::Printf("property '%s' (%s): unexpected member '%s'", Property.Name.c_str(),
						Property.CPPType.c_str(), It.key().c_str()));
				}
				C[Index] = It.value().get<double>();
			}
		}
		else
		{
			return WrongType(bVector ? "[x, y, z]" : "[pitch, yaw, roll]");
		}
		for (double D : C)
		{
			if (!std::isfinite(D)) return WrongType("finite numbers");
		}
		return bVector ? FPropertyValue::MakeVector(FVector(C[0], C[1], C[2])) : FPropertyValue::MakeRotator(FRotator(C[0], C[1], C[2]));
	}
	case EPropertyType::Object:
	case EPropertyType::Class:
	{
		const bool bClass = Property.Type == EPropertyType::Class;
		if (Json.is_null()) return bClass ? FPropertyValue::MakeClass(nullptr) : FPropertyValue::MakeObject(nullptr);
		if (!Json.is_string()) return WrongType(bClass ? "a class path or null" : "an object path or null");
		const std::string Path = Json.get<std::string>();
		if (Path.empty() || Path == "None") return bClass ? FPropertyValue::MakeClass(nullptr) : FPropertyValue::MakeObject(nullptr);
		std::string Why;
		UObject* Object = Resolver ? Resolver(Path, bClass, &Why) : nullptr;
		if (!Object)
		{
			return Fail(Tarnwick::Printf("property '%s': cannot resolve '%s'%s%s", Property.Name.c_str(), Path.c_str(),
				Why.empty() ? "" : ": ", Why.c_str()));
		}
		FPropertyValue V = bClass ? FPropertyValue::MakeClass(Cast<UClass>(Object)) : FPropertyValue::MakeObject(Object);
		return CoercePropertyValue(Property, V, OutError);
	}
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass:
		if (Json.is_null()) return FPropertyValue::MakeSoftPath(Property.Type, "");
		if (!Json.is_string()) return WrongType("a path string");
		return FPropertyValue::MakeSoftPath(Property.Type, Json.get<std::string>());
	case EPropertyType::Struct:
	{
		if (!Json.is_object()) return WrongType("an object");
		FPropertyValue V = Base && Base->Type == EPropertyType::Struct ? *Base : MakeZeroValue(Property);
		for (auto It = Json.begin(); It != Json.end(); ++It)
		{
			const FProperty* Field = Property.FindField(It.key());
			if (!Field)
			{
				return Fail(Tarnwick::Printf("property '%s': %s has no field '%s'", Property.Name.c_str(), Property.StructName.c_str(),
					It.key().c_str()));
			}
			for (auto& [FieldName, FieldValue] : V.Fields)
			{
				if (FieldName != Field->Name) continue;
				std::optional<FPropertyValue> Converted = PropertyValueFromJson(*Field, It.value(), Resolver, &FieldValue, OutError);
				if (!Converted) return std::nullopt;
				FieldValue = std::move(*Converted);
			}
		}
		return V;
	}
	case EPropertyType::Array:
	{
		if (!Json.is_array()) return WrongType("an array");
		FPropertyValue V;
		V.Type = EPropertyType::Array;
		for (const FSimJson& Element : Json)
		{
			std::optional<FPropertyValue> Converted = PropertyValueFromJson(*Property.Inner, Element, Resolver, nullptr, OutError);
			if (!Converted) return std::nullopt;
			V.Elements.push_back(std::move(*Converted));
		}
		return V;
	}
	}
	return Fail("unsupported property type");
}

FSimJson PropertyValueToJson(const FPropertyValue& Value)
{
	switch (Value.Type)
	{
	case EPropertyType::Bool: return Value.bValue;
	case EPropertyType::Int32:
	case EPropertyType::Int64: return Value.IntValue;
	case EPropertyType::Float:
	case EPropertyType::Double: return Value.DoubleValue;
	case EPropertyType::Enum: return Value.StringValue;
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass: return Value.StringValue;
	case EPropertyType::Vector: return FSimJson::array({Value.VectorValue.X, Value.VectorValue.Y, Value.VectorValue.Z});
	case EPropertyType::Rotator: return FSimJson::array({Value.RotatorValue.Pitch, Value.RotatorValue.Yaw, Value.RotatorValue.Roll});
	case EPropertyType::Object:
	case EPropertyType::Class:
	{
		const UObject* Object = Value.ObjectValue.Get();
		return Object ? FSimJson(Object->GetPathName()) : FSimJson(nullptr);
	}
	case EPropertyType::Struct:
	{
		FSimJson Out = FSimJson::object();
		for (const auto& [Name, Field] : Value.Fields) Out[Name] = PropertyValueToJson(Field);
		return Out;
	}
	case EPropertyType::Array:
	{
		FSimJson Out = FSimJson::array();
		for (const FPropertyValue& Element : Value.Elements) Out.push_back(PropertyValueToJson(Element));
		return Out;
	}
	}
	return nullptr;
}

std::optional<FPropertyValue> CoercePropertyValue(const FProperty& Property, const FPropertyValue& Value, std::string* OutError)
{
	auto Fail = [&](std::string Why) -> std::optional<FPropertyValue> {
		if (OutError) *OutError = std::move(Why);
		return std::nullopt;
	};
	auto Mismatch = [&]() {
		return Fail(Tarnwick::Printf("property '%s' is %s; a %s value does not fit", Property.Name.c_str(), Property.CPPType.c_str(),
			LexToString(Value.Type)));
	};
	const EPropertyType T = Property.Type;
	if (IsNumberType(T) && IsNumberType(Value.Type))
	{
		const bool bFromInt = Value.Type == EPropertyType::Int32 || Value.Type == EPropertyType::Int64;
		switch (T)
		{
		case EPropertyType::Int32:
		case EPropertyType::Int64:
		{
			if (!bFromInt) return Mismatch();
			if (T == EPropertyType::Int32 && (Value.IntValue < std::numeric_limits<int32>::min() || Value.IntValue > std::numeric_limits<int32>::max()))
			{
				return Fail(Tarnwick::Printf("property '%s' (int32): %lld is out of range", Property.Name.c_str(),
					static_cast<long long>(Value.IntValue)));
			}
			return T == EPropertyType::Int32 ? FPropertyValue::MakeInt32(static_cast<int32>(Value.IntValue)) : FPropertyValue::MakeInt64(Value.IntValue);
		}
		case EPropertyType::Float:
		{
			const double D = bFromInt ? static_cast<double>(Value.IntValue) : Value.DoubleValue;
			return FPropertyValue::MakeFloat(static_cast<float>(D));
		}
		default:
			return FPropertyValue::MakeDouble(bFromInt ? static_cast<double>(Value.IntValue) : Value.DoubleValue);
		}
	}
	if (T == EPropertyType::Enum)
	{
		const FEnumEntry* Entry = nullptr;
		if (Value.Type == EPropertyType::Enum || Value.Type == EPropertyType::Name || Value.Type == EPropertyType::String)
		{
			Entry = !Value.StringValue.empty() ? Property.FindEnumEntry(Value.StringValue) : Property.FindEnumEntry(Value.IntValue);
		}
		else if (Value.Type == EPropertyType::Int32 || Value.Type == EPropertyType::Int64)
		{
			Entry = Property.FindEnumEntry(Value.IntValue);
		}
		else
		{
			return Mismatch();
		}
		if (!Entry)
		{
			return Fail(Tarnwick::Printf("property '%s': no value %s of %s", Property.Name.c_str(),
				Value.StringValue.empty() ? std::to_string(Value.IntValue).c_str() : Value.StringValue.c_str(), Property.EnumName.c_str()));
		}
		return FPropertyValue::MakeEnum(Entry->Name, Entry->Value);
	}
	if (T == EPropertyType::Object || T == EPropertyType::Class)
	{
		if (Value.Type != T) return Mismatch();
		UObject* Object = Value.ObjectValue.Get();
		if (!Object) return T == EPropertyType::Class ? FPropertyValue::MakeClass(nullptr) : FPropertyValue::MakeObject(nullptr);
		if (T == EPropertyType::Class)
		{
			const UClass* Class = Cast<UClass>(Object);
			if (!Class) return Fail(Tarnwick::Printf("property '%s': '%s' is not a class", Property.Name.c_str(), Object->GetPathName().c_str()));
			if (!ClassHasAncestor(Class, Property.PropertyClassPath))
			{
				return Fail(Tarnwick::Printf("property '%s': class %s is not a child of %s", Property.Name.c_str(),
					Class->GetPathName().c_str(), Property.PropertyClassPath.c_str()));
			}
			return Value;
		}
		if (!ClassHasAncestor(Object->GetClass(), Property.PropertyClassPath))
		{
			return Fail(Tarnwick::Printf("property '%s': %s is a %s, not a %s", Property.Name.c_str(), Object->GetPathName().c_str(),
				Object->GetClass()->GetPathName().c_str(), Property.PropertyClassPath.c_str()));
		}
		return Value;
	}
	if ((T == EPropertyType::String || T == EPropertyType::Name || T == EPropertyType::Text) &&
		(Value.Type == EPropertyType::String || Value.Type == EPropertyType::Name || Value.Type == EPropertyType::Text))
	{
		return FPropertyValue::MakeString(T, Value.StringValue);
	}
	if ((T == EPropertyType::SoftObject || T == EPropertyType::SoftClass) &&
		(Value.Type == T || Value.Type == EPropertyType::String || Value.Type == EPropertyType::Name))
	{
		return FPropertyValue::MakeSoftPath(T, Value.StringValue);
	}
	if (Value.Type != T) return Mismatch();
	if (T == EPropertyType::Struct)
	{
		FPropertyValue Out = MakeZeroValue(Property);
		for (const auto& [Name, FieldValue] : Value.Fields)
		{
			const FProperty* Field = Property.FindField(Name);
			if (!Field) return Fail(Tarnwick::Printf("property '%s': %s has no field '%s'", Property.Name.c_str(), Property.StructName.c_str(), Name.c_str()));
			std::optional<FPropertyValue> Converted = CoercePropertyValue(*Field, FieldValue, OutError);
			if (!Converted) return std::nullopt;
			for (auto& [OutName, OutValue] : Out.Fields)
			{
				if (OutName == Field->Name) OutValue = std::move(*Converted);
			}
		}
		return Out;
	}
	if (T == EPropertyType::Array)
	{
		FPropertyValue Out;
		Out.Type = EPropertyType::Array;
		for (const FPropertyValue& Element : Value.Elements)
		{
			std::optional<FPropertyValue> Converted = CoercePropertyValue(*Property.Inner, Element, OutError);
			if (!Converted) return std::nullopt;
			Out.Elements.push_back(std::move(*Converted));
		}
		return Out;
	}
	if ((T == EPropertyType::Vector && !(std::isfinite(Value.VectorValue.X) && std::isfinite(Value.VectorValue.Y) && std::isfinite(Value.VectorValue.Z))) ||
		(T == EPropertyType::Rotator && !(std::isfinite(Value.RotatorValue.Pitch) && std::isfinite(Value.RotatorValue.Yaw) && std::isfinite(Value.RotatorValue.Roll))))
	{
		return Fail(Tarnwick::Printf("property '%s': components must be finite", Property.Name.c_str()));
	}
	return Value;
}
}
