#include "ImageUtils.h"

#include <spng.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace
{
struct FSpngContextDeleter
{
	void operator()(spng_ctx* Ctx) const { spng_ctx_free(Ctx); }
};

bool HasPngExtension(const std::string& Filename)
{
	const std::string Ext = std::filesystem::path(Filename).extension().string();
	if (Ext.size() != 4) return false;
	std::string Lower;
	for (char C : Ext) Lower.push_back(static_cast<char>(C >= 'A' && C <= 'Z' ? C - 'A' + 'a' : C));
	return Lower == ".png";
}
}

bool FImageUtils::PNGCompressImageArray(int32 Width, int32 Height, std::span<const FColor> Src, std::vector<uint8>& OutPNG)
{
	OutPNG.clear();
	if (Width <= 0 || Height <= 0) return false;
	const size_t Count = static_cast<size_t>(Width) * static_cast<size_t>(Height);
	if (Src.size() < Count) return false;

	// PNG stores R, G, B, A; the engine's pixels are B, G, R, A.
	std::vector<uint8> Rgba(Count * 4);
	for (size_t I = 0; I < Count; ++I)
	{
		const FColor& C = Src[I];
		Rgba[I * 4 + 0] = C.R;
		Rgba[I * 4 + 1] = C.G;
		Rgba[I * 4 + 2] = C.B;
		Rgba[I * 4 + 3] = C.A;
	}

	std::unique_ptr<spng_ctx, FSpngContextDeleter> Ctx(spng_ctx_new(SPNG_CTX_ENCODER));
	if (!Ctx) return false;
	spng_set_option(Ctx.get(), SPNG_ENCODE_TO_BUFFER, 1);
	// Captures are written while the game runs. Trying every row filter (the default) costs six times as much as
	// none for a few percent of size on flat-shaded frames: no filter and zlib's fastest level.
	spng_set_option(Ctx.get(), SPNG_IMG_COMPRESSION_LEVEL, 1);
	spng_set_option(Ctx.get(), SPNG_FILTER_CHOICE, SPNG_FILTER_CHOICE_NONE);
	spng_ihdr Header{};
	Header.width = static_cast<uint32_t>(Width);
	Header.height = static_cast<uint32_t>(Height);
	Header.color_type = SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
	Header.bit_depth = 8;
	if (spng_set_ihdr(Ctx.get(), &Header) != 0) return false;
	if (spng_encode_image(Ctx.get(), Rgba.data(), Rgba.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE) != 0) return false;
	size_t Size = 0;
	int Error = 0;
	void* Buffer = spng_get_png_buffer(Ctx.get(), &Size, &Error);
	if (!Buffer || Error != 0) return false;
	const auto* Bytes = static_cast<const uint8*>(Buffer);
	OutPNG.assign(Bytes, Bytes + Size);
	std::free(Buffer);
	return true;
}

bool FImageUtils::SaveImageByExtension(const std::string& Filename, const FImageView& Image)
{
	if (!HasPngExtension(Filename) || !Image.Pixels || Image.SizeX <= 0 || Image.SizeY <= 0) return false;
	std::vector<uint8> Png;
	const std::span<const FColor> Pixels(Image.Pixels, static_cast<size_t>(Image.NumPixels()));
	return PNGCompressImageArray(Image.SizeX, Image.SizeY, Pixels, Png) && FFileHelper::SaveArrayToFile(Png, Filename);
}

bool FFileHelper::SaveArrayToFile(std::span<const uint8> Bytes, const std::string& Filename)
{
	namespace fs = std::filesystem;
	std::error_code Ec;
	const fs::path Path(Filename);
	if (Path.has_parent_path())
	{
		fs::create_directories(Path.parent_path(), Ec);
		if (Ec) return false;
	}
	std::ofstream Out(Path, std::ios::binary | std::ios::trunc);
	if (!Out) return false;
	Out.write(reinterpret_cast<const char*>(Bytes.data()), static_cast<std::streamsize>(Bytes.size()));
	Out.close();
	return static_cast<bool>(Out);
}
