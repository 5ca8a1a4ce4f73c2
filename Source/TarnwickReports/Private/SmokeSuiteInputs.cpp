#include "SmokeSuiteInputs.h"

#include "Printf.h"
#include "ReportJson.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace Tarnwick::Reports
{
namespace
{
namespace fs = std::filesystem;

FSmokeSpecResult ReadSpec(const fs::path& Path)
{
	FSmokeSpecResult Result;
	Result.Name = Path.stem().string();
	Result.SpecPath = Path.string();
	std::ifstream In(Path, std::ios::binary);
	if (!In)
	{
		Result.Outcome = ESmokeOutcome::Unreadable;
		Result.ErrorMessage = Printf("Could not read spec file '%s'.", Result.SpecPath.c_str());
		return Result;
	}
	std::ostringstream Text;
	Text << In.rdbuf();
	FJson Spec = FJson::parse(Text.str(), nullptr, false);
	if (Spec.is_discarded())
	{
		Result.Outcome = ESmokeOutcome::Unreadable;
		Result.ErrorMessage = Printf("Spec file '%s' is not valid JSON.", Result.SpecPath.c_str());
		return Result;
	}
	if (!Spec.is_object())
	{
		Result.Outcome = ESmokeOutcome::Unreadable;
		Result.ErrorMessage = Printf("Spec file '%s' must hold one JSON object (the run_pie_smoke parameters).", Result.SpecPath.c_str());
		return Result;
	}
	Result.Spec = std::move(Spec);
	return Result;
}

bool HasJsonExtension(const fs::path& Path)
{
	std::string Extension = Path.extension().string();
	std::transform(Extension.begin(), Extension.end(), Extension.begin(), [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
	return Extension == ".json";
}

std::string Lower(std::string_view Text)
{
	std::string Out(Text);
	std::transform(Out.begin(), Out.end(), Out.begin(), [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
	return Out;
}
}

std::vector<FSmokeSpecResult> CollectSpecs(const std::vector<std::string>& Paths)
{
	std::vector<FSmokeSpecResult> Specs;
	for (const std::string& Argument : Paths)
	{
		const fs::path Path(Argument);
		std::error_code Error;
		if (fs::is_directory(Path, Error))
		{
			std::vector<fs::path> Files;
			for (const fs::directory_entry& Entry : fs::directory_iterator(Path, Error))
			{
				if (Entry.is_regular_file(Error) && HasJsonExtension(Entry.path()))
				{
					Files.push_back(Entry.path());
				}
			}
			std::sort(Files.begin(), Files.end());
			if (Files.empty())
			{
				FSmokeSpecResult Empty;
				Empty.Name = Path.filename().empty() ? Argument : Path.filename().string();
				Empty.SpecPath = Argument;
				Empty.Outcome = ESmokeOutcome::Unreadable;
				Empty.ErrorMessage = Printf("Folder '%s' holds no .json spec files.", Argument.c_str());
				Specs.push_back(std::move(Empty));
			}
			for (const fs::path& File : Files)
			{
				Specs.push_back(ReadSpec(File));
			}
			continue;
		}
		if (!fs::exists(Path, Error))
		{
			FSmokeSpecResult Missing;
			Missing.Name = Path.stem().empty() ? Argument : Path.stem().string();
			Missing.SpecPath = Argument;
			Missing.Outcome = ESmokeOutcome::Unreadable;
			Missing.ErrorMessage = Printf("No such spec file or folder '%s'.", Argument.c_str());
			Specs.push_back(std::move(Missing));
			continue;
		}
		Specs.push_back(ReadSpec(Path));
	}
	// Names key the JUnit suites and the page's anchors, so two specs of one name get a number.
	std::set<std::string> Taken;
	for (FSmokeSpecResult& Spec : Specs)
	{
		std::string Name = Spec.Name;
		for (int N = 2; !Taken.insert(Lower(Name)).second; ++N)
		{
			Name = Spec.Name + "_" + std::to_string(N);
		}
		Spec.Name = std::move(Name);
	}
	return Specs;
}

std::vector<FMatchedLogLine> FindMustAbsentLines(const std::vector<FLogLine>& Log, const FJson& Report, size_t Limit)
{
	std::vector<FMatchedLogLine> Lines;
	const FJson* Grouped = FindObject(Report, "grouped_counts");
	const FJson* Active = Grouped ? FindObject(*Grouped, "active_runtime") : nullptr;
	const FJson* Counts = Active ? FindObject(*Active, "must_absent") : nullptr;
	if (!Counts || Counts->empty())
	{
		return Lines;
	}
	std::vector<std::pair<std::string, std::string>> Patterns;
	for (const auto& Item : Counts->items())
	{
		if (!Item.key().empty())
		{
			Patterns.emplace_back(Item.key(), Lower(Item.key()));
		}
	}
	const std::string Boundary = Lower(String(*Grouped, "ignore_after_pattern"));
	const std::string Marker = String(Report, "marker") + " begin";

	// The session's lines start after its marker; the latest one belongs to the session that just ended.
	size_t Start = Log.size();
	for (size_t I = Log.size(); I-- > 0;)
	{
		if (Log[I].Message.rfind(Marker, 0) == 0)
		{
			Start = I;
			break;
		}
	}
	if (Start == Log.size())
	{
		return Lines;
	}
	const double MarkerTime = Log[Start].Timestamp;
	bool bTeardown = false;
	for (size_t I = Start + 1; I < Log.size() && Lines.size() < Limit; ++I)
	{
		const FLogLine& Line = Log[I];
		const std::string Message = Lower(Line.Message);
		const std::string Category = Lower(Line.Category);
		// The boundary matches as every pattern does: in the message or the category.
		if (!bTeardown && !Boundary.empty() && (Message.find(Boundary) != std::string::npos || Category.find(Boundary) != std::string::npos))
		{
			bTeardown = true;
		}
		for (const auto& [Pattern, Needle] : Patterns)
		{
			if (Message.find(Needle) != std::string::npos || Category.find(Needle) != std::string::npos)
			{
				Lines.push_back({Line.Timestamp - MarkerTime, bTeardown ? "teardown" : "active_runtime", Pattern, Line.Category, Line.Verbosity,
					Line.Message});
				if (Lines.size() >= Limit)
				{
					break;
				}
			}
		}
	}
	return Lines;
}
}
