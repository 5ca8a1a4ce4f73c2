#include "PythonScriptPlugin.h"

#include <atomic>

namespace
{
std::atomic<IPythonScriptPlugin*> GPythonScriptPlugin{nullptr};
}

namespace Tarnwick::Host
{
void SetPythonScriptPlugin(IPythonScriptPlugin* Plugin) { GPythonScriptPlugin.store(Plugin); }
}

IPythonScriptPlugin* IPythonScriptPlugin::Get() { return GPythonScriptPlugin.load(); }
