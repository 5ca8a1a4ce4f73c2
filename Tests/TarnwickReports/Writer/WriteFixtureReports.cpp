// Writes the report files the schema and browser checks read: every fixture's HTML page, the suite's HTML page
// and JUnit file, and the page of a generated 100,000-row session. The hero-walk clip gets real PNG frames
// (a small scene with the hero moving across it) so the frame strip is checked with real images.
//
//   write_fixture_reports FIXTURE_DIR OUT_DIR
#include "HtmlReport.h"
#include "JUnitReport.h"
#include "ReportFixtures.h"
#include "SyntheticSession.h"

#include <spng.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

namespace
{
using namespace Tarnwick::Reports;
namespace Fx = Tarnwick::ReportFixtures;

bool WriteFile(const std::filesystem::path& Path, const std::string& Text)
{
	std::ofstream Out(Path, std::ios::binary);
	Out << Text;
	return static_cast<bool>(Out);
}

// A 240x135 frame: sky, floor, a crate, and the hero at a place that depends on the frame index. Frame 0 is the
// black frame a viewport gives before its first render.
std::string FramePng(int Index)
{
	constexpr int W = 240;
	constexpr int H = 135;
	std::vector<unsigned char> Rgb(static_cast<size_t>(W * H * 3), 0);
	if (Index > 0)
	{
		const int HeroX = 20 + Index * 14;
		for (int Y = 0; Y < H; ++Y)
		{
			for (int X = 0; X < W; ++X)
			{
				unsigned char* P = &Rgb[static_cast<size_t>((Y * W + X) * 3)];
				const bool bFloor = Y > 90;
				P[0] = static_cast<unsigned char>(bFloor ? 92 : 120 + Y / 2);
				P[1] = static_cast<unsigned char>(bFloor ? 110 : 160 + Y / 3);
				P[2] = static_cast<unsigned char>(bFloor ? 86 : 220);
				if (X >= 160 && X < 190 && Y >= 66 && Y < 96)
				{
					P[0] = 150, P[1] = 110, P[2] = 60;
				}
				if (X >= HeroX && X < HeroX + 12 && Y >= 62 && Y < 96)
				{
					P[0] = 30, P[1] = 60, P[2] = 200;
				}
			}
		}
	}
	std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> Ctx(spng_ctx_new(SPNG_CTX_ENCODER), spng_ctx_free);
	spng_set_option(Ctx.get(), SPNG_ENCODE_TO_BUFFER, 1);
	spng_ihdr Header{};
	Header.width = W;
	Header.height = H;
	Header.bit_depth = 8;
	Header.color_type = SPNG_COLOR_TYPE_TRUECOLOR;
	spng_set_ihdr(Ctx.get(), &Header);
	if (spng_encode_image(Ctx.get(), Rgb.data(), Rgb.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE) != 0)
	{
		return std::string();
	}
	size_t Size = 0;
	int Error = 0;
	void* Buffer = spng_get_png_buffer(Ctx.get(), &Size, &Error);
	if (!Buffer)
	{
		return std::string();
	}
	std::string Png(static_cast<const char*>(Buffer), Size);
	free(Buffer);
	return Png;
}
}

int main(int Argc, char** Argv)
{
	if (Argc != 3)
	{
		std::fprintf(stderr, "usage: %s FIXTURE_DIR OUT_DIR\n", Argv[0]);
		return 2;
	}
	const std::filesystem::path FixtureDir = Argv[1];
	const std::filesystem::path OutDir = Argv[2];
	std::filesystem::create_directories(OutDir);

	FSmokeSuite Suite;
	Suite.Name = "Samples/Arena/Smoke";
	Suite.Timestamp = "2026-11-23T14:22:07";
	for (const std::string& Name : Fx::FixtureNames(FixtureDir))
	{
		FSmokeSpecResult Result = Fx::LoadFixture(FixtureDir, Name);
		if (Name == "arena_paused_stall")
		{
			Result.MatchedLogLines = Fx::PausedStallLogLines();
		}
		if (const FJson* Paths = Result.Report.contains("frame_paths") ? &Result.Report["frame_paths"] : nullptr)
		{
			int Index = 0;
			for (const FJson& Path : *Paths)
			{
				Result.ClipFrames.push_back({Path.get<std::string>(), FramePng(Index++)});
			}
		}
		if (!WriteFile(OutDir / (Name + ".html"), WriteSessionHtml(Result)))
		{
			std::fprintf(stderr, "could not write %s\n", (OutDir / (Name + ".html")).c_str());
			return 1;
		}
		Suite.Specs.push_back(std::move(Result));
	}
	if (!WriteFile(OutDir / "suite.html", WriteSuiteHtml(Suite)) || !WriteFile(OutDir / "suite.xml", WriteJUnitXml(Suite)) ||
		!WriteFile(OutDir / "long_session.html", WriteSessionHtml(Fx::MakeSyntheticSession())))
	{
		std::fprintf(stderr, "could not write the suite files into %s\n", OutDir.c_str());
		return 1;
	}
	std::printf("wrote %zu fixture pages, suite.html, suite.xml and long_session.html into %s\n", Suite.Specs.size(), OutDir.c_str());
	return 0;
}
