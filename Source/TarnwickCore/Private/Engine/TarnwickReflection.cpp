#include "TarnwickEngineUtils.h"

#include "Object.h"
#include "Printf.h"
#include "UObjectGlobals.h"
#include "World.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

namespace
{
bool EqualsIgnoreCase(std::string_view A, std::string_view B)
{
	return A.size() == B.size() &&
		std::equal(A.begin(), A.end(), B.begin(), [](unsigned char X, unsigned char Y) { return std::tolower(X) == std::tolower(Y); });
}

FJson ValueToJson(const FPropertyValue& Value)
{
	switch (Value.Type)
	{
	case EPropertyType::Bool: return Value.bValue;
	case EPropertyType::Int32:
	case EPropertyType::Int64: return Value.IntValue;
	case EPropertyType::Float:
	case EPropertyType::Double: return std::isfinite(Value.DoubleValue) ? FJson(Value.DoubleValue) : FJson(nullptr);
	case EPropertyType::Enum:
		return Value.StringValue.empty() ? FJson(Tarnwick::Printf("%lld", static_cast<long long>(Value.IntValue))) : FJson(Value.StringValue);
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass: return Value.StringValue;
	case EPropertyType::Vector: return FJson{{"x", Value.VectorValue.X}, {"y", Value.VectorValue.Y}, {"z", Value.VectorValue.Z}};
	case EPropertyType::Rotator:
		return FJson{{"pitch", Value.RotatorValue.Pitch}, {"yaw", Value.RotatorValue.Yaw}, {"roll", Value.RotatorValue.Roll}};
	case EPropertyType::Object:
	case EPropertyType::Class:
	{
		const UObject* Object = Value.ObjectValue.Get();
		return Object ? FJson(Object->GetPathName()) : FJson(nullptr);
	}
	case EPropertyType::Struct:
	{
		FJson Out = FJson::object();
		for (const auto& [Name, Field] : Value.Fields) Out[Name] = ValueToJson(Field);
		return Out;
	}
	case EPropertyType::Array:
	{
		FJson Out = FJson::array();
		for (const FPropertyValue& Element : Value.Elements) Out.push_back(ValueToJson(Element));
		return Out;
	}
	}
	return nullptr;
}

/** "Name[3]" → ("Name", 3); no brackets → index -1. False for malformed brackets. */
bool SplitIndex(const std::string& Segment, std::string& OutName, int& OutIndex)
{
	OutIndex = -1;
	const size_t Open = Segment.find('[');
	if (Open == std::string::npos)
	{
		OutName = Segment;
		return !Segment.empty();
	}
	if (Segment.back() != ']' || Open == 0) return false;
	OutName = Segment.substr(0, Open);
	const std::string Digits = Segment.substr(Open + 1, Segment.size() - Open - 2);
	if (Digits.empty() || !std::all_of(Digits.begin(), Digits.end(), [](unsigned char C) { return std::isdigit(C); })) return false;
	OutIndex = std::atoi(Digits.c_str());
	return true;
}
}

FJson FTarnwickReflectionReader::PropertyToJsonValue(const FProperty&, const FPropertyValue& Value, const UObject*)
{
	return ValueToJson(Value);
}

FJson FTarnwickReflectionReader::ReadProperty(const UObject& Object, const FProperty& Property)
{
	FPropertyValue Value;
	if (!Object.GetPropertyValue(Property, Value)) return nullptr;
	return PropertyToJsonValue(Property, Value, &Object);
}

namespace Tarnwick::PropertyPath
{
bool ResolveValuePtr(UObject* Object, const std::string& DottedPath, FResolvedPath& OutResolved, std::string& OutError)
{
	if (!IsValid(Object))
	{
		OutError = "null property or value pointer";
		return false;
	}
	std::vector<std::string> Segments;
	size_t Start = 0;
	while (Start <= DottedPath.size())
	{
		const size_t Dot = std::min(DottedPath.find('.', Start), DottedPath.size());
		Segments.push_back(DottedPath.substr(Start, Dot - Start));
		Start = Dot + 1;
	}
	UObject* Current = Object;
	const FProperty* Property = nullptr;
	FPropertyValue Value;
	bool bInValue = false; // true once the walk is inside a struct or array value rather than an object
	for (size_t I = 0; I < Segments.size(); ++I)
	{
		std::string Name;
		int Index = -1;
		if (!SplitIndex(Segments[I], Name, Index))
		{
			OutError = Tarnwick::Printf("malformed path segment '%s' in '%s'", Segments[I].c_str(), DottedPath.c_str());
			return false;
		}
		if (!bInValue)
		{
			Property = Current->GetClass()->FindPropertyByName(Name);
			if (!Property)
			{
				// An actor's component is reachable by its name, as a component reference would be.
				if (AActor* Actor = Cast<AActor>(Current); Actor && Index < 0)
				{
					auto Components = Actor->GetComponents();
					auto It = std::find_if(Components.begin(), Components.end(),
						[&](UActorComponent* C) { return IsValid(C) && EqualsIgnoreCase(C->GetName(), Name); });
					if (It != Components.end())
					{
						if (I + 1 == Segments.size())
						{
							OutResolved = FResolvedPath{*It, nullptr, FJson((*It)->GetPathName()), "ObjectProperty"};
							return true;
						}
						Current = *It;
						continue;
					}
				}
				OutError = Tarnwick::Printf("property '%s' not found on %s", Name.c_str(), Current->GetClass()->GetName().c_str());
				return false;
			}
			OutResolved.Object = Current;
			if (!Current->GetPropertyValue(*Property, Value))
			{
				OutError = Tarnwick::Printf("could not read property '%s'", Name.c_str());
				return false;
			}
		}
		else
		{
			const FProperty* Field = Property->FindField(Name);
			const FPropertyValue* FieldValue = Value.FindField(Name);
			if (Value.Type != EPropertyType::Struct || !Field || !FieldValue)
			{
				OutError = Tarnwick::Printf("'%s' has no field '%s'", Property->Name.c_str(), Name.c_str());
				return false;
			}
			Property = Field;
			Value = FPropertyValue(*FieldValue);
		}
		if (Index >= 0)
		{
			if (Value.Type != EPropertyType::Array || !Property->Inner)
			{
				OutError = Tarnwick::Printf("'%s' is not an array", Name.c_str());
				return false;
			}
			if (static_cast<size_t>(Index) >= Value.Elements.size())
			{
				OutError = Tarnwick::Printf("index %d out of range for '%s' (%zu elements)", Index, Name.c_str(), Value.Elements.size());
				return false;
			}
			Value = FPropertyValue(Value.Elements[static_cast<size_t>(Index)]);
			Property = Property->Inner.get();
		}
		const bool bLast = I + 1 == Segments.size();
		if (bLast) break;
		if (Value.Type == EPropertyType::Object)
		{
			UObject* Next = Value.ObjectValue.Get();
			if (!IsValid(Next))
			{
				OutError = Tarnwick::Printf("'%s' is None", Name.c_str());
				return false;
			}
			Current = Next;
			bInValue = false;
		}
		else if (Value.Type == EPropertyType::Struct)
		{
			bInValue = true;
		}
		else
		{
			OutError = Tarnwick::Printf("'%s' is a %s and has no members", Name.c_str(), LexToString(Value.Type));
			return false;
		}
	}
	OutResolved.Property = Property;
	OutResolved.PropertyType = Property ? LexToString(Property->Type) : "";
	OutResolved.Value = ValueToJson(Value);
	return true;
}
}

namespace Tarnwick::PropertyWriter
{
FJson FBulkWriteResult::ToJson(bool bVerbose) const
{
	FJson Out = FJson::object();
	Out["written"] = Written;
	Out["written_count"] = Written.size();
	FJson Failures = FJson::array();
	for (const FFieldFailure& F : Failed) Failures.push_back(FJson{{"field", F.Field}, {"error", F.Error}});
	Out["failed"] = std::move(Failures);
	Out["failed_count"] = Failed.size();
	if (bVerbose) Out["aborted"] = bAborted;
	return Out;
}

bool JsonToPropertyValue(const FProperty& Property, const FJson& Json, FPropertyValue& OutValue, std::string& OutError)
{
	const auto Want = [&](const char* What) {
		OutError = Tarnwick::Printf("%s expects %s, got %s", Property.Name.c_str(), What, Json.type_name());
		return false;
	};
	switch (Property.Type)
	{
	case EPropertyType::Bool:
		if (!Json.is_boolean()) return Want("a boolean");
		OutValue = FPropertyValue::MakeBool(Json.get<bool>());
		return true;
	case EPropertyType::Int32:
	case EPropertyType::Int64:
		if (!Json.is_number_integer()) return Want("an integer");
		OutValue = Property.Type == EPropertyType::Int32 ? FPropertyValue::MakeInt32(Json.get<int32>()) : FPropertyValue::MakeInt64(Json.get<int64>());
		return true;
	case EPropertyType::Float:
	case EPropertyType::Double:
		if (!Json.is_number()) return Want("a number");
		OutValue = Property.Type == EPropertyType::Float ? FPropertyValue::MakeFloat(Json.get<float>()) : FPropertyValue::MakeDouble(Json.get<double>());
		return true;
	case EPropertyType::Enum:
		if (Json.is_string())
		{
			std::string Name = Json.get<std::string>();
			// Accept "EMovementMode::MOVE_Walking" as well as "MOVE_Walking".
			if (const size_t Colons = Name.rfind("::"); Colons != std::string::npos) Name = Name.substr(Colons + 2);
			const FEnumEntry* Entry = Property.FindEnumEntry(Name);
			if (!Entry)
			{
				OutError = Tarnwick::Printf("%s has no enumerator '%s'", Property.Name.c_str(), Name.c_str());
				return false;
			}
			OutValue = FPropertyValue::MakeEnum(Entry->Name, Entry->Value);
			return true;
		}
		if (Json.is_number_integer())
		{
			const FEnumEntry* Entry = Property.FindEnumEntry(Json.get<int64>());
			if (!Entry)
			{
				OutError = Tarnwick::Printf("%s has no enumerator with value %lld", Property.Name.c_str(), static_cast<long long>(Json.get<int64>()));
				return false;
			}
			OutValue = FPropertyValue::MakeEnum(Entry->Name, Entry->Value);
			return true;
		}
		return Want("an enumerator name or value");
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text:
		if (!Json.is_string()) return Want("a string");
		OutValue = FPropertyValue::MakeString(Property.Type, Json.get<std::string>());
		return true;
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass:
		if (!Json.is_string() && !Json.is_null()) return Want("a path string");
		OutValue = FPropertyValue::MakeSoftPath(Property.Type, Json.is_null() ? std::string() : Json.get<std::string>());
		return true;
	case EPropertyType::Vector:
	case EPropertyType::Rotator:
	{
		double A = 0, B = 0, C = 0;
		const char* Keys[3] = {"x", "y", "z"};
		const char* RotKeys[3] = {"pitch", "yaw", "roll"};
		const bool bRot = Property.Type == EPropertyType::Rotator;
		if (Json.is_array() && Json.size() == 3 && std::all_of(Json.begin(), Json.end(), [](const FJson& V) { return V.is_number(); }))
		{
			A = Json[0].get<double>(); B = Json[1].get<double>(); C = Json[2].get<double>();
		}
		else if (Json.is_object())
		{
			double* Out[3] = {&A, &B, &C};
			for (int I = 0; I < 3; ++I)
			{
				const char* Key = bRot ? RotKeys[I] : Keys[I];
				auto It = std::find_if(Json.items().begin(), Json.items().end(), [&](const auto& Item) { return EqualsIgnoreCase(Item.key(), Key); });
				if (It == Json.items().end() || !It.value().is_number()) return Want(bRot ? "[pitch, yaw, roll]" : "[x, y, z]");
				*Out[I] = It.value().get<double>();
			}
		}
		else
		{
			return Want(bRot ? "[pitch, yaw, roll]" : "[x, y, z]");
		}
		OutValue = bRot ? FPropertyValue::MakeRotator(FRotator(A, B, C)) : FPropertyValue::MakeVector(FVector(A, B, C));
		return true;
	}
	case EPropertyType::Object:
	case EPropertyType::Class:
	{
		if (Json.is_null())
		{
			OutValue = Property.Type == EPropertyType::Object ? FPropertyValue::MakeObject(nullptr) : FPropertyValue::MakeClass(nullptr);
			return true;
		}
		if (!Json.is_string()) return Want("an object path or null");
		IObjectSystem* Objects = Tarnwick::Host::GetObjectSystem();
		std::string Error = "no object system";
		if (Property.Type == EPropertyType::Class)
		{
			UClass* Class = Objects ? Objects->LoadClass(Json.get<std::string>(), &Error) : nullptr;
			if (!Class) { OutError = Error; return false; }
			OutValue = FPropertyValue::MakeClass(Class);
			return true;
		}
		UObject* Object = Objects ? Objects->LoadObject(Json.get<std::string>(), &Error) : nullptr;
		if (!Object) { OutError = Error; return false; }
		OutValue = FPropertyValue::MakeObject(Object);
		return true;
	}
	case EPropertyType::Struct:
	{
		if (!Json.is_object()) return Want("an object");
		OutValue = FPropertyValue();
		OutValue.Type = EPropertyType::Struct;
		for (const FProperty& Field : Property.Fields)
		{
			auto It = std::find_if(Json.items().begin(), Json.items().end(), [&](const auto& Item) { return EqualsIgnoreCase(Item.key(), Field.Name); });
			if (It == Json.items().end())
			{
				OutError = Tarnwick::Printf("%s is missing field '%s'", Property.Name.c_str(), Field.Name.c_str());
				return false;
			}
			FPropertyValue FieldValue;
			if (!JsonToPropertyValue(Field, It.value(), FieldValue, OutError)) return false;
			OutValue.Fields.emplace_back(Field.Name, std::move(FieldValue));
		}
		return true;
	}
	case EPropertyType::Array:
	{
		if (!Json.is_array() || !Property.Inner) return Want("an array");
		OutValue = FPropertyValue();
		OutValue.Type = EPropertyType::Array;
		for (const FJson& Element : Json)
		{
			FPropertyValue ElementValue;
			if (!JsonToPropertyValue(*Property.Inner, Element, ElementValue, OutError)) return false;
			OutValue.Elements.push_back(std::move(ElementValue));
		}
		return true;
	}
	}
	OutError = "unsupported property type";
	return false;
}

FBulkWriteResult WritePropertiesObject(UObject* Object, const FJson& Fields, const FWriteOptions& Options)
{
	FBulkWriteResult Result;
	if (!IsValid(Object) || !Fields.is_object())
	{
		Result.Failed.push_back({"", IsValid(Object) ? "properties must be a JSON object" : "null property or value pointer"});
		Result.bAborted = true;
		return Result;
	}
	// Convert everything first so that a strict write changes nothing when any field is bad.
	std::vector<std::pair<const FProperty*, FPropertyValue>> Pending;
	for (const auto& [Name, Json] : Fields.items())
	{
		const FProperty* Property = Object->GetClass()->FindPropertyByName(Name);
		if (!Property)
		{
			Result.Failed.push_back({Name, Tarnwick::Printf("property '%s' not found on %s", Name.c_str(), Object->GetClass()->GetName().c_str())});
			continue;
		}
		FPropertyValue Value;
		std::string Error;
		if (!JsonToPropertyValue(*Property, Json, Value, Error))
		{
			Result.Failed.push_back({Name, Error});
			continue;
		}
		Pending.emplace_back(Property, std::move(Value));
	}
	if (Options.bStrict && !Result.Failed.empty())
	{
		Result.bAborted = true;
		return Result;
	}
	for (auto& [Property, Value] : Pending)
	{
		std::string Error;
		if (Object->SetPropertyValue(*Property, Value, &Error))
		{
			Result.Written.push_back(Property->Name);
		}
		else
		{
			Result.Failed.push_back({Property->Name, Error});
		}
	}
	return Result;
}
}
