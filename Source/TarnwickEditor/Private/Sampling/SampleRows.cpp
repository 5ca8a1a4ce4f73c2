#include "Sampling/SampleRows.h"

#include <cstring>

namespace Tarnwick::Sampling
{
namespace
{
/** Below the allocator's threshold for mapping a block of its own, so freed chunks are reused, not unmapped. */
constexpr size_t ValueChunkBytes = 64 * 1024;

/** Every value starts with this; a pad marker sends the reader on to the next chunk. */
struct FHeader
{
	std::uint16_t Var;
	std::uint8_t Kind;
	std::uint8_t Flags;
};
static_assert(sizeof(FHeader) == 4);
constexpr std::uint8_t PadKind = 0xFF;
constexpr std::uint8_t SameFlag = 1;
constexpr std::uint8_t TrueFlag = 2;

size_t PayloadBytes(ESampleKind Kind)
{
	switch (Kind)
	{
	case ESampleKind::Number: return sizeof(double);
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return 3 * sizeof(double);
	case ESampleKind::String:
	case ESampleKind::Object:
	case ESampleKind::Json: return sizeof(uint32);
	case ESampleKind::Bool:
	case ESampleKind::Missing: return 0;
	}
	return 0;
}

bool SameBits(double A, double B)
{
	return std::memcmp(&A, &B, sizeof(double)) == 0;
}
}

bool FSampleRows::FStoredValue::SameAs(const FStoredValue& Other) const
{
	if (Kind != Other.Kind) return false;
	switch (Kind)
	{
	case ESampleKind::Bool: return bBool == Other.bBool;
	case ESampleKind::Number: return SameBits(A, Other.A);
	case ESampleKind::Vector:
	case ESampleKind::Rotator: return SameBits(A, Other.A) && SameBits(B, Other.B) && SameBits(C, Other.C);
	case ESampleKind::String:
	case ESampleKind::Object: return Ref == Other.Ref;
	case ESampleKind::Json: return false;
	case ESampleKind::Missing: return true;
	}
	return false;
}

void FSampleRows::BeginRow(double T, uint64 Frame, const FJson* ClipFields)
{
	FRow Row{};
	Row.Clip = -1;
	Row.T = T;
	Row.Frame = Frame;
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

std::byte* FSampleRows::Reserve(size_t Bytes)
{
	if (Chunks.empty() || ChunkUsed + Bytes > ValueChunkBytes)
	{
		if (!Chunks.empty() && ChunkUsed + sizeof(FHeader) <= ValueChunkBytes)
		{
			const FHeader Pad{0, PadKind, 0};
			std::memcpy(Chunks.back().get() + ChunkUsed, &Pad, sizeof(Pad));
		}
		Chunks.push_back(std::make_unique_for_overwrite<std::byte[]>(ValueChunkBytes));
		ChunkUsed = 0;
	}
	std::byte* Out = Chunks.back().get() + ChunkUsed;
	ChunkUsed += Bytes;
	return Out;
}

void FSampleRows::AddValue(std::uint16_t Var, const FSampleValue& Value)
{
	FStoredValue V;
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
	if (LastValue.size() <= Var)
	{
		LastValue.resize(static_cast<size_t>(Var) + 1);
		HasLastValue.resize(static_cast<size_t>(Var) + 1, false);
	}
	const bool bSame = HasLastValue[Var] && V.SameAs(LastValue[Var]);
	const size_t Payload = bSame ? 0 : PayloadBytes(V.Kind);
	std::byte* Out = Reserve(sizeof(FHeader) + Payload);
	const FHeader Header{Var, static_cast<std::uint8_t>(V.Kind),
		static_cast<std::uint8_t>((bSame ? SameFlag : 0) | (V.Kind == ESampleKind::Bool && V.bBool ? TrueFlag : 0))};
	std::memcpy(Out, &Header, sizeof(Header));
	Out += sizeof(Header);
	if (Payload == sizeof(double)) std::memcpy(Out, &V.A, sizeof(double));
	if (Payload == 3 * sizeof(double))
	{
		const double Components[3] = {V.A, V.B, V.C};
		std::memcpy(Out, Components, sizeof(Components));
	}
	if (Payload == sizeof(uint32)) std::memcpy(Out, &V.Ref, sizeof(uint32));
	LastValue[Var] = V;
	HasLastValue[Var] = true;
	++Rows.back().NumValues;
}

FJson FSampleRows::ToJson(const std::vector<std::string>& Names) const
{
	FJson Out = FJson::array();
	Out.get_ref<FJson::array_t&>().reserve(Rows.size());
	std::vector<FStoredValue> Last(LastValue.size());
	size_t Chunk = 0;
	size_t Offset = 0;
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
		ValuesJson.get_ref<FJson::object_t&>().reserve(Row.NumValues);
		for (uint32 I = 0; I < Row.NumValues; ++I)
		{
			FHeader Header{};
			while (true)
			{
				if (Offset + sizeof(FHeader) > ValueChunkBytes)
				{
					++Chunk;
					Offset = 0;
				}
				std::memcpy(&Header, Chunks[Chunk].get() + Offset, sizeof(Header));
				if (Header.Kind != PadKind) break;
				++Chunk;
				Offset = 0;
			}
			Offset += sizeof(FHeader);
			FStoredValue& V = Last[Header.Var];
			if (!(Header.Flags & SameFlag))
			{
				V = FStoredValue();
				V.Kind = static_cast<ESampleKind>(Header.Kind);
				const std::byte* In = Chunks[Chunk].get() + Offset;
				const size_t Payload = PayloadBytes(V.Kind);
				if (Payload == sizeof(double)) std::memcpy(&V.A, In, sizeof(double));
				if (Payload == 3 * sizeof(double))
				{
					double Components[3];
					std::memcpy(Components, In, sizeof(Components));
					V.A = Components[0];
					V.B = Components[1];
					V.C = Components[2];
				}
				if (Payload == sizeof(uint32)) std::memcpy(&V.Ref, In, sizeof(uint32));
				Offset += Payload;
			}
			V.bBool = (Header.Flags & TrueFlag) != 0;
			FJson& Slot = ValuesJson[Names[Header.Var]];
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
