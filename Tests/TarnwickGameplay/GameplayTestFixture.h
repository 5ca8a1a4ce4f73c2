// A simulated editor on the virtual clock with the gameplay module started, and calls through the registry as
// the editor module and MCP make them.
#pragma once
#include "SimHost.h"
#include "TarnwickEngineUtils.h"
#include "TarnwickGameplayModuleScope.h"
#include "TarnwickTestHelpers.h"

#include <memory>
#include <string>

namespace Tarnwick::Gameplay::Test
{
class FGameplayTest : public Tarnwick::Test::FRegistryTest
{
protected:
	void SetUp() override
	{
		FRegistryTest::SetUp();
		Module = std::make_unique<Tarnwick::Test::FGameplayModuleScope>();
	}
	void TearDown() override
	{
		Module.reset();
		Host.reset();
		FRegistryTest::TearDown();
	}
	void CreateHost(const std::string& Map = "/Game/Maps/Arena")
	{
		Tarnwick::Sim::FSimHostOptions Options;
		Options.ProjectDir = TARNWICK_SOURCE_DIR "/Samples/Arena";
		Options.ClockMode = Tarnwick::Sim::ESimClockMode::Virtual;
		Options.VirtualUtcStart = 1700000000.0;
		Options.StartupMap = Map;
		std::string Error;
		Host = Tarnwick::Sim::FSimHost::Create(Options, &Error);
		ASSERT_TRUE(Host) << Error;
	}
	UWorld* StartPie()
	{
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		EXPECT_TRUE(Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
		Host->StepFrames(2);
		return GEditor->GetPlayWorld();
	}
	FTarnwickActionResult Call(const std::string& Namespace, const std::string& Action, FJson Params = FJson::object())
	{
		return FTarnwickToolRegistry::Get().ExecuteAction(Namespace, Action, MakeJsonObject(std::move(Params)));
	}
	FJson Succeed(const std::string& Namespace, const std::string& Action, FJson Params = FJson::object())
	{
		const FTarnwickActionResult R = Call(Namespace, Action, std::move(Params));
		EXPECT_TRUE(R.bSuccess) << Namespace << "." << Action << ": " << R.ErrorMessage;
		return R.Result ? *R.Result : FJson();
	}
	/** The call fails with this code and a message that starts with Prefix. */
	void ExpectError(const std::string& Namespace, const std::string& Action, FJson Params, int32 Code, const std::string& Prefix)
	{
		const FTarnwickActionResult R = Call(Namespace, Action, std::move(Params));
		EXPECT_FALSE(R.bSuccess) << Namespace << "." << Action;
		EXPECT_EQ(R.ErrorCode, Code) << Namespace << "." << Action << ": " << R.ErrorMessage;
		EXPECT_EQ(R.ErrorMessage.substr(0, Prefix.size()), Prefix) << R.ErrorMessage;
	}

	std::unique_ptr<Tarnwick::Sim::FSimHost> Host;
	std::unique_ptr<Tarnwick::Test::FGameplayModuleScope> Module;
};
}
