// Starts the gameplay module ("pie", "ai" and "gas" namespaces) for the life of a test, beside the editor
// module where a test starts that too, so that ExecuteAction reaches them as it does in the executable.
#pragma once
#include "TarnwickGameplayModule.h"

namespace Tarnwick::Test
{
class FGameplayModuleScope
{
public:
	FGameplayModuleScope() { Module.StartupModule(); }
	~FGameplayModuleScope() { Module.ShutdownModule(); }
	FGameplayModuleScope(const FGameplayModuleScope&) = delete;
	FGameplayModuleScope& operator=(const FGameplayModuleScope&) = delete;
	FTarnwickGameplayModule& Get() { return Module; }

private:
	FTarnwickGameplayModule Module;
};
}
