// The engine's FColor: one 8-bit sRGB pixel, stored B, G, R, A in memory as the engine's BGRA8 images and
// render-target read-backs are laid out. The constructor takes R, G, B, A in that order, as the engine's does.
#pragma once
#include "HostTypes.h"

struct FColor
{
	uint8 B = 0;
	uint8 G = 0;
	uint8 R = 0;
	uint8 A = 0;

	constexpr FColor() = default;
	constexpr FColor(uint8 InR, uint8 InG, uint8 InB, uint8 InA = 255) : B(InB), G(InG), R(InR), A(InA) {}
	bool operator==(const FColor&) const = default;

	/** Equal red, green and blue, whatever the alpha. */
	constexpr bool EqualsRGB(const FColor& Other) const { return R == Other.R && G == Other.G && B == Other.B; }
};

static_assert(sizeof(FColor) == 4, "FColor is one 32-bit BGRA8 pixel");
