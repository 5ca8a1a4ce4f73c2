// Fixed-width integer names as the engine spells them, shared by every module.
#pragma once
#include <cstdint>

using int8 = std::int8_t;
using uint8 = std::uint8_t;
using int32 = std::int32_t;
using uint32 = std::uint32_t;
using int64 = std::int64_t;
using uint64 = std::uint64_t;
