#include "HtmlParts.h"

#include "Base64.h"
#include "MarkupText.h"
#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>
#include <optional>

namespace Tarnwick::Reports::Html
{
void ClipSection(std::string& Out, const FSmokeSpecResult& Result, size_t& FrameBudget)
{
	const FJson& Report = Result.Report;
	const FJson* Paths = FindArray(Report, "frame_paths");
	if (!Paths)
	{
		return;
	}
	const std::optional<bool> CapturedOk = OptBool(Report, "captured_ok");
	Out += Printf("<section class=\"clip\"><h3>Clip frames <span class=\"chip %s\">captured_ok %s</span></h3>",
		!CapturedOk ? "unknown" : PassClass(*CapturedOk), !CapturedOk ? "?" : *CapturedOk ? "✓" : "✗");
	Out += Printf("<p class=\"small\">%.0f frame(s), %.0f valid, %.0f invalid", Number(Report, "frame_count", static_cast<double>(Paths->size())),
		Number(Report, "valid_frames", 0.0), Number(Report, "invalid_frames", 0.0));
	const std::string Dir = String(Report, "output_dir");
	if (!Dir.empty())
	{
		Out += " in <code>" + Esc(Dir) + "</code>";
	}
	const std::string Status = String(Report, "capture_status");
	if (!Status.empty())
	{
		Out += "; capture " + Esc(Status);
	}
	Out += "</p>";
	const std::string Hint = String(Report, "hint");
	if (!Hint.empty())
	{
		Out += "<p class=\"note fail\">" + Esc(Hint) + "</p>";
	}

	// Each frame's time and verdict: from capture_validity when the report has it, else from the row of the pass
	// that grabbed it. A frame below discard_first_frames is written but not counted.
	struct FFrameFacts
	{
		std::optional<double> T;
		int Valid = -1;
		bool bCounted = true;
	};
	std::unordered_map<std::string, FFrameFacts> Facts;
	const double Discard = std::clamp(Number(Result.Spec, "discard_first_frames", 1.0), 0.0, 16.0);
	for (size_t I = 0; I < Paths->size(); ++I)
	{
		if ((*Paths)[I].is_string())
		{
			Facts[(*Paths)[I].get<std::string>()].bCounted = static_cast<double>(I) >= Discard;
		}
	}
	if (const FJson* Rows = FindArray(Report, "samples"))
	{
		for (const FJson& SampleRow : *Rows)
		{
			const auto It = Facts.find(String(SampleRow, "frame_path"));
			if (It != Facts.end())
			{
				It->second.T = Number(SampleRow, "t", 0.0);
				if (const std::optional<bool> Valid = OptBool(SampleRow, "frame_valid"))
				{
					It->second.Valid = *Valid ? 1 : 0;
				}
			}
		}
	}
	if (const FJson* Validity = FindArray(Report, "capture_validity"))
	{
		for (const FJson& Entry : *Validity)
		{
			const auto It = Facts.find(String(Entry, "path"));
			if (It == Facts.end())
			{
				continue;
			}
			if (const std::optional<double> T = OptNumber(Entry, "session_seconds"))
			{
				It->second.T = *T;
			}
			if (const std::optional<bool> Counted = OptBool(Entry, "counted"))
			{
				It->second.bCounted = *Counted;
			}
			if (const std::optional<bool> Valid = OptBool(Entry, "valid"))
			{
				It->second.Valid = *Valid ? 1 : 0;
			}
		}
	}
	std::unordered_map<std::string, const FClipFrame*> Images;
	for (const FClipFrame& Frame : Result.ClipFrames)
	{
		Images.emplace(Frame.Path, &Frame);
	}
	// Embed an even spread of frames within the budget; the rest stay listed by path.
	const size_t Total = Paths->size();
	size_t Affordable = 0;
	{
		size_t Bytes = 0;
		for (const FJson& Path : *Paths)
		{
			const auto It = Path.is_string() ? Images.find(Path.get<std::string>()) : Images.end();
			if (It != Images.end())
			{
				Bytes += It->second->Png.size() * 4 / 3 + 64;
				++Affordable;
			}
		}
		if (Affordable > 0 && Bytes > FrameBudget)
		{
			Affordable = static_cast<size_t>(static_cast<double>(Affordable) * static_cast<double>(FrameBudget) / static_cast<double>(Bytes));
		}
	}
	const size_t Stride = Affordable == 0 ? Total + 1 : std::max<size_t>(1, (Total + Affordable - 1) / Affordable);
	Out += "<div class=\"frame-strip\">";
	std::vector<std::string> Listed;
	for (size_t I = 0; I < Total; ++I)
	{
		const std::string Path = (*Paths)[I].is_string() ? (*Paths)[I].get<std::string>() : std::string();
		const auto Image = Images.find(Path);
		const FFrameFacts& Frame = Facts[Path];
		const std::string FileName = Path.substr(Path.find_last_of('/') == std::string::npos ? 0 : Path.find_last_of('/') + 1);
		std::string Caption = FileName;
		if (Frame.T)
		{
			Caption += Printf(" t=%.2fs", *Frame.T);
		}
		const bool bDiscarded = !Frame.bCounted;
		const int Valid = Frame.Valid;
		Caption += bDiscarded ? " discarded" : Valid == 1 ? " valid" : Valid == 0 ? " invalid" : "";
		if (Image != Images.end() && I % Stride == 0 && FrameBudget >= Image->second->Png.size() * 4 / 3 + 64)
		{
			const std::string Data = Base64Encode(Image->second->Png);
			FrameBudget -= Data.size() + 64;
			Out += Printf("<figure class=\"frame %s\"><img alt=\"", bDiscarded ? "discarded" : Valid == 0 ? "invalid" : "");
			Out += Attr(FileName);
			Out += "\" src=\"data:image/png;base64,";
			Out += Data;
			Out += "\"><figcaption>";
			Out += Esc(Caption);
			Out += "</figcaption></figure>";
		}
		else
		{
			Listed.push_back(Caption + " " + Path);
		}
	}
	Out += "</div>";
	if (!Listed.empty())
	{
		Out += Printf("<details class=\"frame-list\"><summary>%zu frame(s) not embedded</summary><ul>", Listed.size());
		for (const std::string& Line : Listed)
		{
			Out += "<li><code>" + Esc(Line) + "</code></li>";
		}
		Out += "</ul></details>";
	}
	Out += "</section>";
}
}
