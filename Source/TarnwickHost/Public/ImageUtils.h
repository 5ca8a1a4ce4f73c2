// Images to files, the engine's FImageUtils and FFileHelper as the capture code uses them: a BGRA8 image
// (FColor pixels, rows top to bottom) compressed to PNG, and byte arrays saved to files.
//
// PNG files hold 8-bit RGBA in the sRGB space, alpha as given (callers that want an opaque image force it to
// 255 first). Any thread; nothing here touches the editor.
#pragma once
#include "Color.h"
#include "HostTypes.h"

#include <span>
#include <string>
#include <vector>

/** A view of a BGRA8 image in memory (the engine's FImageView for ERawImageFormat::BGRA8, sRGB). */
struct FImageView
{
	const FColor* Pixels = nullptr;
	int32 SizeX = 0;
	int32 SizeY = 0;

	FImageView() = default;
	FImageView(const FColor* InPixels, int32 InSizeX, int32 InSizeY) : Pixels(InPixels), SizeX(InSizeX), SizeY(InSizeY) {}
	FImageView(const std::vector<FColor>& InPixels, int32 InSizeX, int32 InSizeY) : Pixels(InPixels.data()), SizeX(InSizeX), SizeY(InSizeY) {}
	int64 NumPixels() const { return static_cast<int64>(SizeX) * static_cast<int64>(SizeY); }
};

struct FImageUtils
{
	/**
	 * Compresses Width x Height pixels to a PNG file image. False (OutPNG empty) when the size is not positive,
	 * Src holds fewer than Width x Height pixels, or the encoder fails.
	 */
	static bool PNGCompressImageArray(int32 Width, int32 Height, std::span<const FColor> Src, std::vector<uint8>& OutPNG);

	/**
	 * Writes the image to Filename in the format its extension names; ".png" (any case) is the one supported.
	 * Parent folders are created. False when the extension is not supported, the image is empty or the file
	 * cannot be written.
	 */
	static bool SaveImageByExtension(const std::string& Filename, const FImageView& Image);
};

struct FFileHelper
{
	/** Writes the bytes to Filename, replacing it, creating parent folders first. False when it cannot. */
	static bool SaveArrayToFile(std::span<const uint8> Bytes, const std::string& Filename);
};
