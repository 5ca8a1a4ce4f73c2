#include "Sampling/PropertyConversion.h"

#include "Printf.h"
#include "TarnwickEngineUtils.h"

#include <cmath>

namespace Tarnwick::Sampling
{
namespace
{
FParsedRead Ok(FSampleValue Value)
{
	FParsedRead Out;
	Out.bOk = true;
	Out.Value = std::move(Value);
	return Out;
}

FParsedRead Number(double V)
{
	if (!std::isfinite(V))
	{
		FParsedRead Out;
		Out.Failure = "value is not finite (NaN/Inf)";
		return Out;
	}
	return Ok(FSampleValue::MakeNumber(V));
}
}

FParsedRead ConvertPropertyValue(const FProperty& Property, const FPropertyValue& Value, bool bRetainJson)
{
	switch (Value.Type)
	{
	case EPropertyType::Bool: return Ok(FSampleValue::MakeBool(Value.bValue));
	case EPropertyType::Int32:
	case EPropertyType::Int64: return Number(static_cast<double>(Value.IntValue));
	case EPropertyType::Float:
	case EPropertyType::Double: return Number(Value.DoubleValue);
	case EPropertyType::Enum:
	{
		std::string Name = Value.StringValue;
		if (Name.empty())
		{
			if (const FEnumEntry* Entry = Property.FindEnumEntry(Value.IntValue)) Name = Entry->Name;
			else Name = Tarnwick::Printf("%lld", static_cast<long long>(Value.IntValue));
		}
		return Ok(FSampleValue::MakeEnum(std::move(Name), Value.IntValue));
	}
	case EPropertyType::String:
	case EPropertyType::Name:
	case EPropertyType::Text: return Ok(FSampleValue::MakeString(Value.StringValue));
	case EPropertyType::Vector: return Ok(FSampleValue::MakeVector(Value.VectorValue.X, Value.VectorValue.Y, Value.VectorValue.Z));
	case EPropertyType::Rotator:
		return Ok(FSampleValue::MakeRotator(Value.RotatorValue.Pitch, Value.RotatorValue.Yaw, Value.RotatorValue.Roll));
	case EPropertyType::Object:
	case EPropertyType::Class:
	{
		const UObject* Object = Value.ObjectValue.Get();
		return Ok(FSampleValue::MakeObject(Object ? Object->GetPathName() : std::string("None")));
	}
	case EPropertyType::SoftObject:
	case EPropertyType::SoftClass: return Ok(FSampleValue::MakeObject(Value.StringValue.empty() ? std::string("None") : Value.StringValue));
	case EPropertyType::Struct:
	case EPropertyType::Array: break;
	}
	if (bRetainJson) return Ok(FSampleValue::MakeJson(FTarnwickReflectionReader::PropertyToJsonValue(Property, Value, nullptr)));
	FParsedRead Out;
	Out.Failure = Tarnwick::Printf("unsupported property type %s — set retain_json:true to capture it as raw JSON (it will not be comparable in "
								   "expectations)",
		LexToString(Property.Type));
	return Out;
}
}
