// The plug-in's gameplay module: the "pie" (input into the running game), "ai" (blackboards, navigation, AI
// moves) and "gas" (gameplay attributes) namespaces. It is written against TarnwickHost only, so it works on
// any host that implements those interfaces; the editor module and the smoke harness reach it only through
// FTarnwickToolRegistry::ExecuteAction, as they would reach another module of the plug-in in the engine.
//
// StartupModule registers the three namespaces; ShutdownModule unregisters them. The host calls both on the
// game thread (the executable and the tests).
#pragma once

class FTarnwickGameplayModule
{
public:
	FTarnwickGameplayModule() = default;
	~FTarnwickGameplayModule();
	FTarnwickGameplayModule(const FTarnwickGameplayModule&) = delete;
	FTarnwickGameplayModule& operator=(const FTarnwickGameplayModule&) = delete;

	void StartupModule();
	void ShutdownModule();
	bool IsStarted() const { return bStarted; }

private:
	bool bStarted = false;
};
