// Decodes PNG files with libspng in tests, so that an assertion about pixels reads the file a user would open.
#pragma once
#include "Color.h"

#include <spng.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace Tarnwick::Test
{
/** A decoded image: pixels as FColor (B, G, R, A), rows top to bottom. */
struct FDecodedPng
{
	int32 Width = 0;
	int32 Height = 0;
	std::vector<FColor> Pixels;

	const FColor& At(int32 X, int32 Y) const { return Pixels[static_cast<size_t>(Y) * static_cast<size_t>(Width) + static_cast<size_t>(X)]; }
	bool IsUniformRGB() const
	{
		for (const FColor& C : Pixels)
		{
			if (!C.EqualsRGB(Pixels.front())) return false;
		}
		return true;
	}
	/** How many pixels differ in RGB from Other's (which must have the same size). */
	size_t CountDifferentPixels(const FDecodedPng& Other) const
	{
		size_t N = 0;
		for (size_t I = 0; I < Pixels.size() && I < Other.Pixels.size(); ++I)
		{
			if (!Pixels[I].EqualsRGB(Other.Pixels[I])) ++N;
		}
		return N;
	}
};

/** Decodes PNG bytes; false when libspng refuses them. */
inline bool DecodePng(const std::vector<uint8>& Bytes, FDecodedPng& Out, std::string* OutError = nullptr)
{
	struct FCtxDeleter
	{
		void operator()(spng_ctx* C) const { spng_ctx_free(C); }
	};
	std::unique_ptr<spng_ctx, FCtxDeleter> Ctx(spng_ctx_new(0));
	auto Fail = [&](int Code) {
		if (OutError) *OutError = spng_strerror(Code);
		return false;
	};
	if (int E = spng_set_png_buffer(Ctx.get(), Bytes.data(), Bytes.size())) return Fail(E);
	spng_ihdr Header{};
	if (int E = spng_get_ihdr(Ctx.get(), &Header)) return Fail(E);
	size_t Size = 0;
	if (int E = spng_decoded_image_size(Ctx.get(), SPNG_FMT_RGBA8, &Size)) return Fail(E);
	std::vector<uint8> Rgba(Size);
	if (int E = spng_decode_image(Ctx.get(), Rgba.data(), Rgba.size(), SPNG_FMT_RGBA8, 0)) return Fail(E);
	Out.Width = static_cast<int32>(Header.width);
	Out.Height = static_cast<int32>(Header.height);
	Out.Pixels.resize(Size / 4);
	for (size_t I = 0; I < Out.Pixels.size(); ++I)
	{
		Out.Pixels[I] = FColor(Rgba[I * 4], Rgba[I * 4 + 1], Rgba[I * 4 + 2], Rgba[I * 4 + 3]);
	}
	return true;
}

inline bool DecodePngFile(const std::string& Path, FDecodedPng& Out, std::string* OutError = nullptr)
{
	std::ifstream In(Path, std::ios::binary);
	if (!In)
	{
		if (OutError) *OutError = "cannot open " + Path;
		return false;
	}
	const std::vector<uint8> Bytes((std::istreambuf_iterator<char>(In)), std::istreambuf_iterator<char>());
	return DecodePng(Bytes, Out, OutError);
}
}
