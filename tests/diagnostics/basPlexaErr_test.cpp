#include "diagnostics/basPlexaErr.h"

#include <gtest/gtest.h>

#include "diagnostics/basEventTracer.h"
#include "tests/support/error_of.h"
#include "tests/support/test_host.h"

namespace orvix {
namespace {

using tests::ErrorOf;

class BrokenProvider : public MessageProvider {
    std::optional<std::string> GetMessage(const std::string&) override { throw Error(errors::General, "no table"); }
};

class OneMessage : public MessageProvider {
    std::optional<std::string> GetMessage(const std::string& key) override {
        if (key != "#-2147219990") return std::nullopt;
        return "%1 must be||%2";
    }
};

class ErrorModuleTest : public testing::Test {
protected:
    tests::World m_World;
    tests::TestHost m_Host{m_World};
    cPlexaERR PlexaERR{m_Host.Services};
};

TEST_F(ErrorModuleTest, CheckFormsTheText) {
    struct Case {
        const char* Message;
        VariantList Params;
        const char* Expected;
    };
    const Case cases[] = {
        {"left||right", {}, "left\r\nright"},
        {"%1 then %2 then %3", {"x%2||", 5}, "x%2|| then 5 then %3"},
        {"100%% of %1, %%1, %01, %", {"it"}, "100% of it, %1, %01, %"},
        {"%12", {"A"}, "A2"},
        {"%10 %: %9", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "ten"}, "ten %: i"},
        {"%1", {Null{}}, "(unprintable value)"},
        {"#-2147219990", {"Rate", "1..9"}, "Rate must be\r\n1..9"},
        {"#7", {"Rate", "%1"}, "#7 Rate %1"},
    };
    PlexaERR.SetMessageProvider(std::make_shared<OneMessage>());
    for (const Case& each : cases) {
        const Error error = ErrorOf([&] { PlexaERR.Check(false, 77, each.Message, each.Params, "a.hlp", 4); });
        EXPECT_EQ(error.Number, 77);
        EXPECT_EQ(error.Source, "PlexaERR.Check");
        EXPECT_EQ(error.Description, each.Expected);
        EXPECT_EQ(error.HelpFile, "a.hlp");
        EXPECT_EQ(error.HelpContext, 4);
        EXPECT_NO_THROW(PlexaERR.Check(true, 77, each.Message, each.Params));
    }
    EXPECT_EQ(ErrorOf([&] { PlexaERR.Check(false, 77, errors::OutOfRange, "Rate", 9); }).Description,
              "Rate must be\r\n9");
    EXPECT_NO_THROW(PlexaERR.Check(true, 77, errors::OutOfRange, "Rate", 9));
}

// A task's text passes through a check for each trap on its way.
TEST_F(ErrorModuleTest, ATextWithoutParametersStaysAsItIs) {
    std::string text = "100%% %1 %";
    for (int i = 0; i < 3; ++i) {
        text = ErrorOf([&] { PlexaERR.Check(false, 77, text); }).Description;
        EXPECT_EQ(text, "100%% %1 %");
    }
}

TEST_F(ErrorModuleTest, NumberZeroCollects) {
    PlexaERR.Check(false, 0, "one");
    cPlexaERR(m_Host.Services).Check(false, 0, "two %1", {2});
    EXPECT_EQ(PlexaERR.CollectedMessages(), "one\r\ntwo 2");
}

TEST_F(ErrorModuleTest, FailingCatalogueGivesTheKey) {
    EXPECT_EQ(PlexaERR.GetMessageText(errors::TimeOut), "#-2147215991");
    PlexaERR.SetMessageProvider(std::make_shared<BrokenProvider>());
    EXPECT_EQ(PlexaERR.GetMessageText(errors::TimeOut, {"now"}), "#-2147215991 now");
}

TEST_F(ErrorModuleTest, NestedTrapsReportOnce) {
    const auto trap = [&](const char* label, auto action) {
        return [this, label, action] {
            try {
                action();
            } catch (...) {
                PlexaERR.ErrorIn(label);
            }
        };
    };
    const auto fail = [&] { PlexaERR.Check(false, errors::Validation, "50%nl% wrong", {}, "b.hlp", 9); };
    const Error error = ErrorOf(trap("outer", trap("middle", trap("cOrvixNB1TPMission.Set(A)", fail))));
    EXPECT_EQ(error.Number, errors::Validation);
    EXPECT_EQ(error.Source, "PlexaERR.ErrorIn");
    EXPECT_EQ(error.HelpFile, "b.hlp");
    EXPECT_EQ(error.HelpContext, 9);
    EXPECT_EQ(error.Description,
              "50%nl% wrong \r\n \r\n  (cOrvixNB1TPMission.Set(A)) \r\n"
              "  Number: -2147217304 = &H80041068 = vbObjectError 4200 = PLEXA_ERRMAP_APP_FIRST -999 \r\n"
              "  Source: PlexaERR.Check \r\n");
}

TEST_F(ErrorModuleTest, SystemCodeIsReportedUnlessItMeansNothing) {
    const auto report = [&](int systemCode) {
        return ErrorOf([&] {
                   try {
                       throw SystemError("open", systemCode);
                   } catch (...) {
                       PlexaERR.ErrorIn("f");
                   }
               })
            .Description;
    };
    EXPECT_TRUE(report(2).ends_with("  Source: OrvixNimbo1Lib \r\n  API Error: (2) No such file or directory"));
    EXPECT_TRUE(report(203).ends_with("  Source: OrvixNimbo1Lib \r\n"));
}

TEST_F(ErrorModuleTest, LostErrorUnlessPreserved) {
    const Error lost = ErrorOf([&] { PlexaERR.ErrorIn("f"); });
    EXPECT_EQ(lost.Number, errors::InformationLost);
    EXPECT_NE(lost.Description.find("FIRST 0 = PLEXA_ERR_GENERAL\r\n"), std::string::npos);

    auto object = std::make_shared<int>(1);
    auto other = std::make_unique<int>(2);
    try {
        throw Error(errors::Busy, "busy");
    } catch (...) {
        PlexaERR.ErrCleanup(object, other);
    }
    EXPECT_FALSE(object || other);
    EXPECT_EQ(PlexaERR.ErrPreservedNumber(), errors::Busy);
    EXPECT_EQ(ErrorOf([&] { PlexaERR.ErrorIn("f"); }).Number, errors::Busy);
    EXPECT_EQ(PlexaERR.ErrPreservedNumber(), errors::None);
}

TEST_F(ErrorModuleTest, ReportInTellsSinkAndTracer) {
    cEventTracer(m_Host.Services).LogMode(true);
    try {
        throw std::runtime_error("plain");
    } catch (...) {
        PlexaERR.ReportIn("f");
    }
    ASSERT_EQ(m_Host.Reports.All.size(), 1U);
    EXPECT_TRUE(m_Host.Reports.All[0].starts_with("plain \r\n \r\n  (f) \r\n  Number: -2147219991 = &H800405E9"));
    EXPECT_EQ(m_Host.Stores.FileContents["/lib/Log/2026-11-22.log"], "f=" + m_Host.Reports.All[0] + "\n");
}

}  // namespace
}  // namespace orvix
