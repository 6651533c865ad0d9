// Commands at a running switch: modes, what reaches the manager, and what each command comes to.
#include "host/shell/session.h"

#include "tests/host/shell_support.h"

namespace shell {
namespace {

class ShellSession : public ShellTest {
 protected:
  // Runs lines that are all done and print nothing.
  void configure(std::initializer_list<std::string_view> lines) {
    for (const std::string_view line : lines) {
      EXPECT_EQ(run(line), Status::kDone) << line;
      EXPECT_EQ(output_, "") << line;
    }
  }

  Status run(std::string_view line) { return run(session_, line); }

  Status run(Session& session, std::string_view line) {
    testing::internal::CaptureStdout();
    const Reply reply = session.run(line);
    std::fflush(stdout);
    output_ = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(!reply.problem || reply.status == Status::kUsage) << line;
    failure_ = reply.failure;
    return reply.status;
  }

  std::string screen(std::string_view line) {
    EXPECT_EQ(run(line), Status::kDone) << line;
    return output_;
  }

  chassis::PortMode port_mode(std::string_view name) const {
    return host::port_roles().value()[chassis().find(name)->if_index].mode;
  }

  Session session_{chassis(), {"ann", role("operator")}};
  std::string output_;
  std::string failure_;
};

TEST_F(ShellSession, PromptsShowTheMode) {
  EXPECT_EQ(session_.prompt(), "lab# ");
  configure({"configure"});
  EXPECT_EQ(session_.prompt(), "lab(config)# ");
  configure({"span session 3"});
  EXPECT_EQ(session_.prompt(), "lab(config-span)# ");
  configure({"interface fc1/1-4"});
  EXPECT_EQ(session_.prompt(), "lab(config-if)# ");
}

TEST_F(ShellSession, ExitGoesUpAndEndGoesToTheTop) {
  configure({"configure", "span session 3", "exit"});
  EXPECT_EQ(session_.prompt(), "lab(config)# ");
  configure({"exit"});
  EXPECT_EQ(session_.prompt(), "lab# ");
  configure({"configure", "interface fc1/1", "end"});
  EXPECT_EQ(session_.prompt(), "lab# ");
  EXPECT_FALSE(session_.left());
  configure({"exit"});
  EXPECT_TRUE(session_.left());
}

TEST_F(ShellSession, ConfigureLeadsBackFromDeeperModes) {
  configure({"configure", "span session 3", "configure"});
  EXPECT_EQ(session_.prompt(), "lab(config)# ");
}

TEST_F(ShellSession, CommandsOfAnOuterModeLeaveTheInnerOne) {
  configure({"configure", "span session 3", "no span session 4"});
  EXPECT_EQ(session_.prompt(), "lab(config)# ");
}

TEST_F(ShellSession, ShowStaysInItsMode) {
  configure({"configure", "span session 3"});
  EXPECT_EQ(screen("show span session 4"), "Session 4 is not configured\n");
  EXPECT_EQ(session_.prompt(), "lab(config-span)# ");
}

TEST_F(ShellSession, AWrongCommandOfAnOuterModeLeavesTheInnerOne) {
  configure({"configure", "span session 3"});
  EXPECT_EQ(run("span session 17"), Status::kUsage);
  EXPECT_EQ(session_.prompt(), "lab(config)# ");
  EXPECT_EQ(run("suspend"), Status::kUsage);
}

TEST_F(ShellSession, OtherWrongCommandsStayInTheirMode) {
  configure({"configure", "span session 3"});
  EXPECT_EQ(run("source vsan 4096"), Status::kUsage);
  EXPECT_EQ(run("bogus"), Status::kUsage);
  EXPECT_EQ(session_.prompt(), "lab(config-span)# ");
}

TEST_F(ShellSession, CommentsAndEmptyLinesDoNothing) { configure({"", "  \t", "! span", "  # bogus"}); }

TEST_F(ShellSession, ConfiguresTheSessionOfItsMode) {
  configure({"configure", "interface fc1/1", "port mode span-destination", "span session 3",
             "destination interface fc1/1", "source interface fc1/2-3 rx", "source interface fc1/2 rx filter vsan 1-5",
             "source vsan 7", "source filter vsan 1-20"});
  EXPECT_EQ(screen("show span session 3"),
            "Session 3 (active)\n"
            "   Destination is fc1/1\n"
            "   Session filter vsans are 1-20\n"
            "   Ingress (rx) sources are \n"
            "      vsans 7\n"
            "     fc1/2 (vsan 1-5), fc1/3, \n"
            "   No egress (tx) sources\n"
            "\n");
}

TEST_F(ShellSession, NoFormsUndo) {
  configure({"configure", "interface fc1/1", "port mode span-destination", "span session 3",
             "destination interface fc1/1", "source interface fc1/2", "suspend"});
  EXPECT_EQ(screen("show span session 3").substr(0, 27), "Session 3 (admin suspended)");
  configure({"no suspend"});
  EXPECT_EQ(screen("show span session 3").substr(0, 18), "Session 3 (active)");
  configure({"no source interface fc1/2", "no destination interface fc1/1", "no span session 3"});
  EXPECT_EQ(screen("show span session 3"), "Session 3 is not configured\n");
}

TEST_F(ShellSession, PortModeOfAllInterfacesOfItsMode) {
  configure({"configure", "interface fc1/1-2, fc2/130", "port mode span-destination"});
  for (const char* name : {"fc1/1", "fc1/2", "fc2/130"}) {
    EXPECT_EQ(port_mode(name), chassis::PortMode::kSpanDestination) << name;
  }
  configure({"interface fc1/2", "no port mode"});
  EXPECT_EQ(port_mode("fc1/2"), chassis::PortMode::kNormal);
}

TEST_F(ShellSession, RefusalsHaveTheirStatusAlthoughHandlersReturn0) {
  configure({"configure", "span session 3"});
  EXPECT_EQ(run("source interface fc1/9"), Status::kRefused);
  EXPECT_NE(output_.find("fc1/9 "), std::string::npos);
  EXPECT_EQ(run("source vsan 50"), Status::kRefused);
  EXPECT_EQ(screen("show span session 3").find("rx) sources are"), std::string::npos);
}

TEST_F(ShellSession, TrafficTypesOfOrdinaryInterfacesAreRefused) {
  configure({"configure", "span session 3"});
  EXPECT_EQ(run("source interface fc1/1 rx traffic-type target"), Status::kRefused);
  EXPECT_EQ(output_, "traffic-type option is supported for only svc interfaces\n");
}

TEST_F(ShellSession, UnreachableManager) {
  configure({"configure", "span session 3"});
  host::set_manager_reachable(false);
  EXPECT_EQ(run("suspend"), Status::kUnreachable);
  EXPECT_EQ(run("show span session"), Status::kUnreachable);
  EXPECT_EQ(run("span session 4"), Status::kUnreachable);
  EXPECT_EQ(session_.prompt(), "lab(config)# ");
}

TEST_F(ShellSession, TellsOnceAndInWordsWhyTheManagerIsUnreachable) {
  configure({"configure", "span session 3"});
  host::set_manager_reachable(false);
  for (const char* line : {"suspend",
                           "no suspend",
                           "destination interface fc1/1",
                           "no destination interface fc1/1",
                           "source interface fc1/2",
                           "source interface svc 2/1 rx traffic-type target",
                           "source vsan 5",
                           "source filter vsan 5",
                           "show span session",
                           "show span session brief",
                           "show span max-queued-packets",
                           "show span internal info",
                           "test span 1",
                           "show running-config",
                           "show running-config span",
                           "show interface brief",
                           "show rspan-tunnel interface fc1/1",
                           "span max-queued-packets 7",
                           "span session 4",
                           "no span session 3"}) {
    EXPECT_EQ(run(line), Status::kUnreachable) << line;
    const bool told = output_.find("the service does not run") != std::string::npos;
    EXPECT_EQ(failure_, told ? "" : "SPAN manager: the service does not run") << line << "\n" << output_;
    EXPECT_EQ(output_.find("no error"), std::string::npos) << line;
  }
}

TEST_F(ShellSession, ShowsNoInterfacesThatTheManagerTellsNothingAbout) {
  EXPECT_NE(screen("show interface brief").find("fc1/1 "), std::string::npos);
  host::set_manager_reachable(false);
  EXPECT_EQ(run("show interface brief"), Status::kUnreachable);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(run("show running-config"), Status::kUnreachable);
  EXPECT_EQ(output_, "");
}

TEST_F(ShellSession, TakesARunningConfiguration) {
  configure({"configure",
             "interface fc2/1",
             "port mode span-destination",
             "span session 2",
             "destination interface fc2/1",
             "suspend",
             "source filter vsan  10",
             "source filter vsan  11",
             "",
             "source vsan  5",
             "",
             "source interface fc1/1 rx filter vsan  1",
             "source interface fc1/1 rx filter vsan  3",
             "source interface fc1/1 rx filter vsan ",
             "",
             "source interface fc1/2 tx ",
             "",
             "source interface svc 2/1 tx traffic-type targetinitiator",
             "",
             "",
             ""});
  EXPECT_EQ(screen("show span session 2"),
            "Session 2 (admin suspended)\n"
            "   Destination is fc2/1\n"
            "   Session filter vsans are 10-11\n"
            "   Ingress (rx) sources are \n"
            "      vsans 5\n"
            "     fc1/1 (vsan 1,3), \n"
            "   Egress (tx) sources are \n"
            "     fc1/2, svc 2/1 (initiator), svc 2/1 (target), \n"
            "\n");
}

TEST_F(ShellSession, RolesHideWhatTheyMayNotSee) {
  Session guest(chassis(), {"guest", role("guest")});
  configure({"configure", "span session 1", "source interface fc2/1", "span session 2", "source interface fc1/1"});
  EXPECT_EQ(run(guest, "show span session"), Status::kDone);
  EXPECT_EQ(output_.find("Session 1"), std::string::npos);
  EXPECT_NE(output_.find("Session 2"), std::string::npos);
  EXPECT_EQ(run(guest, "show interface brief"), Status::kDone);
  EXPECT_EQ(output_.find("fc2/1"), std::string::npos);
  EXPECT_EQ(run(guest, "show vsan"), Status::kDone);
  EXPECT_EQ(output_, "5 VSANs\n  1-5\n");
}

// ---- Screens of the shell -------------------------------------------------------------------------------------------

TEST_F(ShellSession, ShowInterfaces) {
  configure(
      {"configure", "interface fc1/1", "port mode span-destination", "span session 1", "destination interface fc1/1"});
  const std::string text = screen("show interface brief");
  EXPECT_EQ(text.substr(0, text.find('\n', text.find("fc1/1 ")) + 1),
            "Interface        Type         Link Port mode        Member of        SPAN\n"
            "--------------------------------------------------------------------------------\n"
            "fc1/1            fc           up   span-destination -                destination\n");
  EXPECT_NE(text.find("fc1/9            fc           up   normal           port-channel 3   -\n"), std::string::npos);
}

TEST_F(ShellSession, ShowVsans) { EXPECT_EQ(screen("show vsan"), "21 VSANs\n  1-20,100\n"); }

TEST_F(ShellSession, ShowRoles) {
  EXPECT_EQ(screen("show roles"),
            "* operator             all interfaces, 21 VSANs\n"
            "  guest                4 interfaces, 5 VSANs\n");
}

TEST_F(ShellSession, ShowEventHistory) {
  span_global_info_payload_t* reply = nullptr;
  EXPECT_NE(span_parse_global_info_res_payload(nullptr, &reply), 0u);
  EXPECT_TRUE(screen("show span event-history")
                  .ends_with("103 span_parse_global_info_res_payload:parse response global_info payload \n"));
}

TEST_F(ShellSession, DebugOutputGoesToStandardError) {
  configure({"debug span"});
  testing::internal::CaptureStderr();
  screen("show span session 3");
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
  configure({"no debug span"});
  testing::internal::CaptureStderr();
  screen("show span session 3");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- Help -----------------------------------------------------------------------------------------------------------

TEST_F(ShellSession, HelpListsTheCommandsOfTheMode) {
  EXPECT_EQ(screen("help").find("destination"), std::string::npos);
  configure({"configure", "span session 1"});
  EXPECT_NE(screen("help").find("  [no] source filter vsan VSANS [rx|tx]\n"), std::string::npos);
}

TEST_F(ShellSession, QuestionMarkTellsWhatMayFollow) {
  EXPECT_EQ(screen("show span session ?"),
            "  SESSION            session number (1 to 16)\n"
            "  brief              As a table\n"
            "  <enter>            Run the command\n");
  EXPECT_EQ(screen("show i?"), "  interface          Interfaces\n");
  EXPECT_EQ(screen("show span session 3?"), "  SESSION            session number (1 to 16)\n");
}

TEST_F(ShellSession, QuestionMarkAfterAWrongWordTellsWhatIsWrong) {
  EXPECT_EQ(run("show bogus ?"), Status::kUsage);
  EXPECT_EQ(output_, "");
}

}  // namespace
}  // namespace shell
