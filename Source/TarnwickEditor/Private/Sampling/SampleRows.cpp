#include "Sampling/SampleRows.h"

#include <cstdint>

namespace Tarnwick::Sampling
{
void FSampleRows::BeginRow(double T, uint64 Frame, const FJson* ClipFields)
{
	FRow Row{};
	Row.Clip = -1;
	Row.T = T;
	Row.Frame = Frame;
	Row.FirstValue = static_cast<uint32>(Values.size());
	if (ClipFields && ClipFields->is_object())
	{
		Row.Clip = static_cast<int32>(Clips.size());
		Clips.push_back(*ClipFields);
	}
	Rows.push_back(Row);
}

uint32 FSampleRows::Intern(std::uint16_t Var, const std::string& Text)
{
	if (LastString.size() <= Var) LastString.resize(static_cast<size_t>(Var) + 1, UINT32_MAX);
	const uint32 Last = LastString[Var];
	if (Last != UINT32_MAX && Strings[Last] == Text) return Last;
	Strings.push_back(Text);
	return LastString[Var] = static_cast<uint32>(Strings.size() - 1);
}

void FSampleRows::AddValue(std::uint16_t Var, const FSampleValue& Value)
{
	FValue V{};
	V.Var = Var;
	V.Kind = Value.Kind;
	switch (Value.Kind)
	{
	case ESampleKind::Bool: V.bBool = Value.bBool; break;
	case ESampleKind::Number: V.A = Value.Number; break;
	case ESampleKind::String:
	case ESampleKind::Object: V.Ref = Intern(Var, Value.String); break;
	case ESampleKind::Vector:
	case ESampleKind::Rotator:
		V.A = Value.X;
		V.B = Value.Y;
		V.C = Value.Z;
		break;
	case ESampleKind::Json:
		V.Ref = static_cast<uint32>(Jsons.size());
		Jsons.push_back(Value.Json);
		break;
	case ESampleKind::Missing: break;
	}
	Values.push_back(V);
	++Rows.back().NumValues;
}

FJson FSampleRows::ToJson(const std::vector<std::string>& Names) const
{
	FJson Out = FJson::array();
	for (size_t R = 0; R < Rows.size(); ++R)
	{
		const FRow& Row = Rows[R];
		FJson J = FJson::object();
		J["t"] = Row.T;
		J["frame"] = Row.Frame;
		if (Row.Clip >= 0)
		{
			for (const auto& [Key, Value] : Clips[static_cast<size_t>(Row.Clip)].items()) J[Key] = Value;
		}
		FJson ValuesJson = FJson::object();
		for (uint32 I = Row.FirstValue; I < Row.FirstValue + Row.NumValues; ++I)
		{
			const FValue& V = Values[I];
			FJson& Slot = ValuesJson[Names[V.Var]];
			switch (V.Kind)
			{
			case ESampleKind::Bool: Slot = V.bBool; break;
			case ESampleKind::Number: Slot = V.A; break;
			case ESampleKind::String:
			case ESampleKind::Object: Slot = Strings[V.Ref]; break;
			case ESampleKind::Vector:
			case ESampleKind::Rotator: Slot = FJson::array({V.A, V.B, V.C}); break;
			case ESampleKind::Json: Slot = Jsons[V.Ref]; break;
			case ESampleKind::Missing: Slot = nullptr; break;
			}
		}
		J["values"] = std::move(ValuesJson);
		Out.push_back(std::move(J));
	}
	return Out;
}
}
