// PNG writing of BGRA8 images, read back with libspng, and the profiling and Python install points when no
// host has installed anything.
#include "CsvProfiler.h"
#include "ImageUtils.h"
#include "PngTestUtils.h"
#include "PythonScriptPlugin.h"
#include "TraceAuxiliary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;
using Tarnwick::Test::FDecodedPng;

namespace
{
fs::path TempDir(const std::string& Name)
{
	fs::path Dir = fs::temp_directory_path() / ("tarnwick_host_" + std::to_string(::getpid()) + "_" + Name);
	fs::remove_all(Dir);
	return Dir;
}
}

TEST(HostImageUtils, PngKeepsEveryChannelOfEveryPixelInRowOrder)
{
	// Channel order is the classic fault: a BGRA image written as if it were RGBA swaps red and blue.
	const std::vector<FColor> Pixels = {
		FColor(255, 0, 0), FColor(0, 255, 0), FColor(0, 0, 255),
		FColor(10, 20, 30, 0), FColor(200, 100, 50, 128), FColor(1, 2, 3, 4),
	};
	std::vector<uint8> Png;
	ASSERT_TRUE(FImageUtils::PNGCompressImageArray(3, 2, Pixels, Png));
	ASSERT_GT(Png.size(), 8u);
	EXPECT_EQ(Png[1], 'P');
	FDecodedPng Decoded;
	std::string Error;
	ASSERT_TRUE(Tarnwick::Test::DecodePng(Png, Decoded, &Error)) << Error;
	EXPECT_EQ(Decoded.Width, 3);
	EXPECT_EQ(Decoded.Height, 2);
	EXPECT_EQ(Decoded.Pixels, Pixels);
	EXPECT_EQ(Decoded.At(2, 0), FColor(0, 0, 255));
	EXPECT_EQ(Decoded.At(1, 1), FColor(200, 100, 50, 128));
}

TEST(HostImageUtils, RefusesImagesItCannotWriteFaithfully)
{
	std::vector<uint8> Png{1, 2, 3};
	const std::vector<FColor> Five(5, FColor(9, 9, 9));
	EXPECT_FALSE(FImageUtils::PNGCompressImageArray(3, 2, Five, Png)) << "fewer pixels than width x height";
	EXPECT_TRUE(Png.empty());
	EXPECT_FALSE(FImageUtils::PNGCompressImageArray(0, 2, Five, Png));
	EXPECT_FALSE(FImageUtils::PNGCompressImageArray(2, -1, Five, Png));

	const fs::path Dir = TempDir("refuse");
	EXPECT_FALSE(FImageUtils::SaveImageByExtension((Dir / "a.jpg").string(), FImageView(Five, 5, 1)));
	EXPECT_FALSE(FImageUtils::SaveImageByExtension((Dir / "a.png").string(), FImageView()));
	EXPECT_FALSE(fs::exists(Dir / "a.jpg"));
	fs::remove_all(Dir);
}

TEST(HostImageUtils, SavesThroughMissingFoldersAndFailsUnderAFile)
{
	const fs::path Dir = TempDir("save");
	const std::vector<FColor> Pixels(4 * 3, FColor(12, 34, 56));
	const std::string File = (Dir / "deep" / "er" / "frame_000.PNG").string();
	ASSERT_TRUE(FImageUtils::SaveImageByExtension(File, FImageView(Pixels, 4, 3)));
	FDecodedPng Decoded;
	ASSERT_TRUE(Tarnwick::Test::DecodePngFile(File, Decoded));
	EXPECT_EQ(Decoded.Width, 4);
	EXPECT_EQ(Decoded.Height, 3);
	EXPECT_TRUE(Decoded.IsUniformRGB());
	EXPECT_EQ(Decoded.At(3, 2), FColor(12, 34, 56));

	// A parent that is a file cannot become a folder.
	const std::string Blocked = (Dir / "deep" / "er" / "frame_000.PNG" / "x.png").string();
	EXPECT_FALSE(FImageUtils::SaveImageByExtension(Blocked, FImageView(Pixels, 4, 3)));
	const std::vector<uint8> Bytes{1, 2, 3};
	EXPECT_FALSE(FFileHelper::SaveArrayToFile(Bytes, Blocked));
	fs::remove_all(Dir);
}

TEST(HostProfilingInstall, NothingInstalledAnswersAbsentAndNeverConnects)
{
	EXPECT_EQ(FCsvProfiler::Get(), nullptr);
	EXPECT_EQ(IPythonScriptPlugin::Get(), nullptr);
	EXPECT_FALSE(FTraceAuxiliary::Start(FTraceAuxiliary::EConnectionType::File, "t", "Frame"));
	EXPECT_FALSE(FTraceAuxiliary::IsConnected());
	EXPECT_FALSE(FTraceAuxiliary::Stop());
	EXPECT_EQ(FTraceAuxiliary::GetTraceDestinationString(), "");
	FMiscTrace::OutputBookmark("nobody listens");
}
