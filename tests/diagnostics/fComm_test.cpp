#include "diagnostics/fComm.h"

#include <gtest/gtest.h>

#include "host/error.h"
#include "host/text.h"
#include "tests/support/test_host.h"

namespace orvix {
namespace {

class DebugWindowTest : public testing::Test {
protected:
    tests::World m_World;
    tests::TestHost m_Host{m_World, 42};
    std::map<std::string, std::string>& m_Settings = m_Host.Stores.SettingValues;
};

TEST_F(DebugWindowTest, LoadsHiddenWithItsControls) {
    fComm window(m_Host.Services);
    EXPECT_EQ(m_Host.Reports.Window, &window.Window());
    EXPECT_FALSE(window.Window().Visible);
    EXPECT_EQ(window.Window().Controls.size(), 13U);
    EXPECT_EQ(window.Text("lblThreadID"), "42");
    EXPECT_EQ(window.Text("lblStatus"), "CNN STATE");
    EXPECT_EQ(window.Text("txtSymMin"), "0.0");
    EXPECT_TRUE(window.MSComm1);
    EXPECT_FALSE(window.QueryUnload());
    EXPECT_THROW(window.Text("txtOther"), Error);
    window.Unload();
    EXPECT_EQ(m_Host.Reports.Window, nullptr);
    EXPECT_TRUE(m_Settings.empty());
}

TEST_F(DebugWindowTest, SimulationFieldsAreKeptByPortAndStoredAtUnload) {
    const auto fields = [](const fComm& window) {
        return window.Text("txtSymDelay") + ";" + window.Text("txtSymMin") + ";" + window.Text("txtSymMax") + ";" +
               window.Text("txtSymDig");
    };
    {
        fComm window(m_Host.Services);
        window.Init(2, "1", true);
        EXPECT_EQ(window.Window().Caption, " Debug Driver on port 1");
        EXPECT_TRUE(window.Window().Controls["chkDebugMode"].Checked);
        EXPECT_EQ(fields(window), "0;-40.0;84.9;255");
        window.Window().Controls["txtSymMin"].Text = "unsaved";
        window.Init(2, "1", true);
        EXPECT_EQ(fields(window), "0;-40.0;84.9;255");
        window.Window().Controls["txtSymMin"].Text = "-5";
        EXPECT_TRUE(m_Settings.empty());
    }
    EXPECT_EQ(m_Settings["OrvixNimbo1Lib/Sym/SymMin2x1"], "-5");
    fComm same(m_Host.Services);
    same.Init(2, "1", false);
    EXPECT_EQ(fields(same), "0;-5;84.9;255");
    fComm other(m_Host.Services);
    other.Init(2, "7", false);
    EXPECT_EQ(fields(other), "0;-40.0;84.9;255");
}

TEST_F(DebugWindowTest, EveryChangeIsTold) {
    fComm window(m_Host.Services);
    std::vector<std::string> changed;
    window.Window().Changed = [&](const std::string& name) { changed.push_back(name.empty() ? "window" : name); };
    for (const bool active : {true, false}) {
        window.Activity(active);
        EXPECT_EQ(window.Window().Controls["lblThreadID"].Highlighted, active);
        window.Visible(active);
        EXPECT_EQ(window.Window().Visible, active);
    }
    const std::vector<std::string> both{"lblThreadID", "window", "lblThreadID", "window"};
    EXPECT_EQ(std::exchange(changed, {}), both);
    window.Init(2, "3", true);
    EXPECT_EQ(changed, (std::vector<std::string>{"window", "chkDebugMode", "chkEvents", "txtSymDelay", "txtSymMin",
                                                 "txtSymMax", "txtSymDig"}));
    EXPECT_TRUE(window.Window().Controls["chkEvents"].Checked);
}

TEST_F(DebugWindowTest, LogDropsItsOldestText) {
    fComm window(m_Host.Services);
    std::vector<std::string> changed;
    window.Window().Changed = [&](const std::string& name) { changed.push_back(name); };
    window.Info("first", true, "CONNECTED");
    EXPECT_EQ(window.Text("txtInfo"), "\r\nfirst");
    EXPECT_EQ(changed, (std::vector<std::string>{"txtInfo", "lblinfo", "chkOnline", "lblStatus"}));

    window.Info(std::string(30000, 'x'), false);
    EXPECT_EQ(window.Text("txtInfo").size(), 30009U);
    EXPECT_EQ(window.Text("lblStatus"), "CONNECTED");
    EXPECT_FALSE(window.Window().Controls["chkOnline"].Checked);

    window.Info("last", true);
    EXPECT_EQ(window.Text("txtInfo"), std::string(29996, 'x') + "\r\nlast");
    EXPECT_EQ(window.Window().Controls["txtInfo"].Caret, 30002U);

    window.Info(std::string(30001, 'y'), true);
    EXPECT_EQ(window.Text("txtInfo").size(), 30002U);
    EXPECT_EQ(window.Text("lblinfo").size(), 30001U);

    window.Info(std::string(30000, 'z'), true);
    EXPECT_EQ(window.Text("txtInfo"), "\r\n" + std::string(30000, 'z'));
}

}  // namespace
}  // namespace orvix
