// Finding a shape in a decoded image by its colour: all the pixels of that colour, or only the patch around one
// pixel, for scenes where two actors share a mesh (and so a colour) and a test must follow one of them.
#pragma once
#include "PngTestUtils.h"

#include <vector>

namespace Tarnwick::Test
{
/** How many pixels, and their centre in image coordinates (pixel centres at +0.5). */
struct FBlob
{
	size_t Count = 0;
	double X = 0.0;
	double Y = 0.0;
	int32 MinY = 0;
	int32 MaxY = -1;
};

namespace Detail
{
inline void Add(FBlob& B, int32 X, int32 Y)
{
	if (B.Count == 0 || Y < B.MinY) B.MinY = Y;
	if (B.Count == 0 || Y > B.MaxY) B.MaxY = Y;
	++B.Count;
	B.X += X + 0.5;
	B.Y += Y + 0.5;
}

inline FBlob Finish(FBlob B)
{
	if (B.Count)
	{
		B.X /= static_cast<double>(B.Count);
		B.Y /= static_cast<double>(B.Count);
	}
	return B;
}
}

/** Every pixel of the image that Is accepts. */
template <typename Pred>
FBlob FindBlob(const FDecodedPng& Image, Pred Is)
{
	FBlob B;
	for (int32 Y = 0; Y < Image.Height; ++Y)
	{
		for (int32 X = 0; X < Image.Width; ++X)
		{
			if (Is(Image.At(X, Y))) Detail::Add(B, X, Y);
		}
	}
	return Detail::Finish(B);
}

/** The 4-connected patch of accepted pixels that holds (SeedX, SeedY); empty when the seed itself is not accepted. */
template <typename Pred>
FBlob FindBlobAt(const FDecodedPng& Image, int32 SeedX, int32 SeedY, Pred Is)
{
	FBlob B;
	if (SeedX < 0 || SeedY < 0 || SeedX >= Image.Width || SeedY >= Image.Height || !Is(Image.At(SeedX, SeedY))) return B;
	std::vector<bool> Seen(Image.Pixels.size(), false);
	std::vector<std::pair<int32, int32>> Open{{SeedX, SeedY}};
	Seen[static_cast<size_t>(SeedY) * static_cast<size_t>(Image.Width) + static_cast<size_t>(SeedX)] = true;
	while (!Open.empty())
	{
		const auto [X, Y] = Open.back();
		Open.pop_back();
		Detail::Add(B, X, Y);
		const std::pair<int32, int32> Next[] = {{X + 1, Y}, {X - 1, Y}, {X, Y + 1}, {X, Y - 1}};
		for (const auto& [NX, NY] : Next)
		{
			if (NX < 0 || NY < 0 || NX >= Image.Width || NY >= Image.Height) continue;
			const size_t I = static_cast<size_t>(NY) * static_cast<size_t>(Image.Width) + static_cast<size_t>(NX);
			if (Seen[I] || !Is(Image.Pixels[I])) continue;
			Seen[I] = true;
			Open.emplace_back(NX, NY);
		}
	}
	return Detail::Finish(B);
}
}
