/// Clients that wait for a run, on links of their own, while others work: the whole instrument with its main loop.

#include "tests/firmware/unit_in_process.h"
#include "tests/scpi/main_loop.h"

#include <chrono>
#include <future>

namespace {

using namespace std::chrono_literals;

constexpr const char* noError = "0,\"No error\"\n";

class WaitingClients : public testing::Test {
protected:
    WaitingClients() {
        UnitInProcess::get().connect(loud(100e6));
        for (scpi_link* link : {&a_, &b_, &c_})
            scpi_link_init(&link_list, link, 1024, 1024, "client");
        mainLoop_ = std::make_unique<MainLoop>();
        tell("*RST;*CLS;:SENS:PN:AVER 10000;CORR 10000"); // longer than any test may take
    }
    ~WaitingClients() override {
        tell("ABOR;*RST");
        mainLoop_.reset();
        link_list = nullptr;
        for (scpi_link* link : {&a_, &b_, &c_})
            scpi_link_destroy(link);
    }

    /// On a link that never waits.
    std::string tell(const std::string& line) { return askOn(&b_, line + "\n"); }
    static std::future<std::string> begin(scpi_link* link, const std::string& line) {
        auto client = std::async(std::launch::async, [=] { return askOn(link, line + "\n"); });
        while (!waits(link) && isSilent(client))
            std::this_thread::yield();
        return client;
    }
    static bool waits(const scpi_link* link) {
        MutexLock access(deviceAccessMutex);
        return link->message.waits;
    }
    static bool isSilent(const std::future<std::string>& client) {
        return client.wait_for(0s) == std::future_status::timeout;
    }

    scpi_link a_{}, b_{}, c_{};
    std::unique_ptr<MainLoop> mainLoop_;
};

} // namespace

TEST_F(WaitingClients, AnyOtherLinkEndsTheRunThatTheyWaitFor) {
    tell("INIT");
    auto wait = begin(&a_, "*IDN?;:CALC:WAIT:AVER ALL;:SYST:ERR?");
    auto secondInit = begin(&c_, "INIT;:SENS:MODE?");
    const uint64_t run = measure_runInProgress();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(tell("*OPC?;:SENS:MODE?"), "1;PN\n");
    EXPECT_TRUE(isSilent(wait) && isSilent(secondInit));
    tell("ABOR");
    EXPECT_NE(wait.get().find(std::string(";") + noError), std::string::npos);
    EXPECT_EQ(secondInit.get(), "PN\n");
    EXPECT_EQ(measure_runInProgress(), run + 1) << "the second INIT has begun its run";
}

TEST_F(WaitingClients, WhatEndsARunParksOnlyItsOwnLinkAndIsDone) {
    for (const char* line : {"*RST;:SENS:PN:AVER?", "SENS:MODE APN;MODE?", "CONF:MODE BB;:SENS:MODE?"}) {
        tell("*RST;:SENS:PN:AVER 10000;CORR 10000;:INIT");
        auto client = std::async(std::launch::async, [&] { return askOn(&a_, std::string(line) + "\n"); });
        EXPECT_EQ(tell("*OPC?"), "1\n");
        EXPECT_EQ(client.get(), line[0] == '*' ? "1\n" : line[0] == 'S' ? "APN\n" : "BB\n");
        EXPECT_EQ(measure_runInProgress(), 0u);
        EXPECT_EQ(tell("SYST:ERR?"), noError);
    }
}

TEST_F(WaitingClients, ACommandedMeasurementWaitsForTheRunAndATimedWaitForItsLimit) {
    tell("INIT");
    auto search = begin(&a_, "SENS:FREQ:EXEC;:CALC:FREQ?");
    auto timed = begin(&c_, "CALC:WAIT:AVER ALL,20;:SYST:ERR?");
    EXPECT_EQ(timed.get(), "-393416,\"Execution error;Timeout\"\n");
    EXPECT_NE(tell("CALC:WAIT:AVER NEXT,60000;:CALC:PN:PREL:AVER?;CORR?"), "0;0\n");
    EXPECT_TRUE(isSilent(search));
    tell("ABOR");
    EXPECT_NEAR(std::stod(search.get()), 100e6, 100);
}

TEST_F(WaitingClients, AClientThatHasGoneStartsNoRunAndMissesNoReset) {
    tell("INIT");
    const uint64_t run = measure_runInProgress();
    auto init = begin(&a_, "INIT;:SENS:PN:PPD 77");
    scpi_link_clientGone(&a_);
    init.get();
    EXPECT_EQ(measure_runInProgress(), run);
    EXPECT_EQ(tell("SENS:PN:PPD?"), "77\n") << "what it had sent behind";
    auto reset = std::async(std::launch::async, [&] { return askOn(&a_, "*RST\n"); });
    scpi_link_clientGone(&a_);
    reset.get();
    EXPECT_EQ(tell("SENS:PN:PPD?"), "120\n");
}
