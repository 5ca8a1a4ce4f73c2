// The retained rows of a session, one per ticking pass, kept compact so that 100000 rows of 20 variables stay
// small; shaped into the documented JSON rows only when a report asks.
//
// Memory is what a row costs on the frame that records it: fresh pages fault on first touch, and a fault costs
// more than sampling a dozen variables. So values are encoded by size (a bool in its header, a number in 8
// bytes, a vector in 24, strings interned), and a value equal to the one its variable recorded last (most of
// them: a walk speed, a mode, a class) is only a header.
#pragma once
#include "Sampling/SampleValue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Tarnwick::Sampling
{
/**
 * An append-only array in fixed chunks: growing never moves what is stored, so a long session does not copy
 * its rows over and over as a vector would (and never holds two copies of them at once).
 */
template <typename T, size_t ChunkSize = 4096>
class TChunkedArray
{
public:
	void push_back(const T& Value)
	{
		if (Count % ChunkSize == 0) Chunks.push_back(std::make_unique_for_overwrite<T[]>(ChunkSize));
		Chunks.back()[Count % ChunkSize] = Value;
		++Count;
	}
	T& operator[](size_t Index) { return Chunks[Index / ChunkSize][Index % ChunkSize]; }
	const T& operator[](size_t Index) const { return Chunks[Index / ChunkSize][Index % ChunkSize]; }
	T& back() { return (*this)[Count - 1]; }
	size_t size() const { return Count; }

private:
	std::vector<std::unique_ptr<T[]>> Chunks;
	size_t Count = 0;
};

class FSampleRows
{
public:
	/** Starts a row; ClipFields (an object, or null) is merged between "frame" and "values". */
	void BeginRow(double T, uint64 Frame, const FJson* ClipFields);
	/** Adds the value of variable Var to the row begun last. */
	void AddValue(std::uint16_t Var, const FSampleValue& Value);

	size_t Num() const { return Rows.size(); }
	/** The rows as JSON, with each variable under its name. */
	FJson ToJson(const std::vector<std::string>& Names) const;

private:
	// Plain members without initializers, so that a new chunk is not cleared before it is written.
	struct FRow
	{
		double T;
		uint64 Frame;
		uint32 NumValues;
		int32 Clip;
	};
	/** One value as stored: its header and, unless it repeats its variable's last value, its payload. */
	struct FStoredValue
	{
		ESampleKind Kind = ESampleKind::Missing;
		bool bBool = false;
		/** Strings and objects: index into Strings; json: index into Jsons. */
		uint32 Ref = 0;
		double A = 0.0;
		double B = 0.0;
		double C = 0.0;
		bool SameAs(const FStoredValue& Other) const;
	};

	uint32 Intern(std::uint16_t Var, const std::string& Text);
	/** Room for Bytes in the current chunk, starting a new chunk (after a pad marker) when they do not fit. */
	std::byte* Reserve(size_t Bytes);

	TChunkedArray<FRow> Rows;
	/** The value stream in fixed chunks that never move; rows read it in order. */
	std::vector<std::unique_ptr<std::byte[]>> Chunks;
	size_t ChunkUsed = 0;
	std::vector<std::string> Strings;
	std::vector<FJson> Jsons;
	std::vector<FJson> Clips;
	/** Per variable, the index of its last interned string (values usually repeat from row to row). */
	std::vector<uint32> LastString;
	/** Per variable, the value it recorded last and whether it has recorded one. */
	std::vector<FStoredValue> LastValue;
	std::vector<bool> HasLastValue;
};
}
