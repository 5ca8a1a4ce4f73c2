// libFuzzer target: whatever a project folder holds, every parser of it reports an error or a value and never
// throws, aborts or recurses without bound: the .uproject descriptor, map and asset documents, Config ini
// files, and the plugin settings (DefaultTarnwick.ini).
#include "SimProjectFormat.h"
#include "TarnwickSettingsReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace Tarnwick::Sim;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size)
{
	const std::string Text(reinterpret_cast<const char*>(Data), Size);
	std::string Error;
	if (!ParseProjectDescriptor("Fuzz", Text, "Fuzz.uproject", &Error) && Error.rfind("Fuzz.uproject: ", 0) != 0) std::abort();
	Error.clear();
	if (!ParseMapDocument(Text, "Fuzz.umap", &Error) && Error.rfind("Fuzz.umap: ", 0) != 0) std::abort();
	Error.clear();
	if (!ParseAssetDocument(Text, "Fuzz.uasset", &Error) && Error.rfind("Fuzz.uasset: ", 0) != 0) std::abort();
	const FIniFile Ini = ParseIni(Text);
	(void)Ini.GetString("/Script/EngineSettings.GameMapsSettings", "EditorStartupMap");
	const Tarnwick::Settings::FSettingsRead Settings = Tarnwick::Settings::ReadSettings(Text);
	if (Settings.Settings.CompileLockSeconds < 1 || Settings.Settings.RestartLockSeconds < 1) std::abort();
	return 0;
}
