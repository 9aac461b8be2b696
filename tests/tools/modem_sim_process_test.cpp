#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "tools/modem_sim_process.h"

// How the program starts, plugs and unplugs, meets its hosts, and ends.
namespace corvane::modem_sim {
namespace {

using testing::IsEmpty;

TEST_F(ModemSimProcessTest, TheFirstLineTellsThePathAndTheLinkLeadsThere) {
  program.emplace(std::vector<std::string>{"--link", link});
  const json first = program->NextLine();
  EXPECT_EQ(first["event"], "plugged");
  EXPECT_EQ(first["connection"], 1);
  EXPECT_EQ(first["link"], link);
  EXPECT_EQ(std::filesystem::read_symlink(link), first["path"].get<std::string>());
}

TEST_F(ModemSimProcessTest, TheLineIsRawWithFlowControlOn) {
  Start({});
  const cUniqueFd line(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  ASSERT_EQ(::tcgetattr(line.Get(), &settings), 0);
  EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
  EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
  EXPECT_EQ(settings.c_oflag & OPOST, 0U);
  EXPECT_EQ(settings.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
}

TEST_F(ModemSimProcessTest, AHangUpDeliversItsPacketAndTheStreamGoesOnAfterTheReturn) {
  Start({"--rate", "max", "--count", "60", "--hang-up", "29", "--return-after", "50ms"});
  {
    cHost host(link);
    host.SetMasks();
    host.ReadToTheEnd();
    EXPECT_EQ(host.packets.size(), 4U + 30U);
  }
  EXPECT_EQ(program->WaitFor("unplugged")["drained"], true);
  const json again = program->WaitFor("plugged");
  EXPECT_EQ(again["connection"], 2);
  EXPECT_EQ(std::filesystem::read_symlink(link), again["path"].get<std::string>());
  cHost host(link);
  host.SetMasks();
  host.ReadUntil([&] { return host.packets.size() == 4U + 30U; });
  Synchronise();
  const json last = Packets("tx").back();
  EXPECT_EQ(last["connection"], 2);
  EXPECT_EQ(last["number"], 59);
  // Requests count from 0 on each connection.
  std::vector<int> numbers;
  for (const json& line : Packets("rx")) {
    numbers.push_back(line["number"]);
  }
  EXPECT_EQ(numbers, (std::vector<int>{0, 1, 2, 3, 0, 1, 2, 3}));
}

TEST_F(ModemSimProcessTest, CommandsUnplugAndPlug) {
  Start({});
  {
    cHost host(link);
    EXPECT_EQ(program->Command("plug"), "already plugged in");
    EXPECT_EQ(program->Command("unplug"), "ok");
    host.ReadToTheEnd();
  }
  program->WaitFor("unplugged");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
  EXPECT_EQ(program->Command("unplug"), "not plugged in");
  EXPECT_EQ(program->Command("send 00"), "not plugged in");
  EXPECT_EQ(program->Command("plug"), "ok");
  cHost host(link);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
}

TEST_F(ModemSimProcessTest, SignalsUnplugAndPlug) {
  Start({});
  program->Signal(SIGUSR1);
  program->WaitFor("unplugged");
  program->Signal(SIGUSR2);
  EXPECT_EQ(program->WaitFor("plugged")["connection"], 2);
}

TEST_F(ModemSimProcessTest, CommandsSendPacketsAndBytes) {
  Start({});
  cHost host(link);
  EXPECT_EQ(program->Command("send 4b 25 08 00"), "ok");
  EXPECT_EQ(program->Command("send-raw 0102030405 7e"), "ok");
  host.ReadUntil([&] { return host.packets.size() == 1 && host.damaged == 1; });
  EXPECT_EQ(ToHex(host.packets[0]), "4b250800");
  EXPECT_EQ(program->Command("send x"), "unknown command");
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, TheStreamCanBePausedAndResumed) {
  Start({"--paused", "--settle", "0", "--heartbeat", "20ms", "--count", "5"});
  cHost host(link);
  host.SetMasks();
  host.ReadUntil([&] { return host.idle >= 3; });
  EXPECT_EQ(host.packets.size(), 4U);
  EXPECT_EQ(program->Command("resume"), "ok");
  host.ReadUntil([&] { return host.packets.size() == 9; });
}

TEST_F(ModemSimProcessTest, AHostThatClosesTheTerminalIsForgotten) {
  Start({"--settle", "0", "--heartbeat", "20ms", "--rate", "max"});
  {
    cHost host(link);
    host.SetMasks();
    host.ReadUntil([&] { return host.packets.size() > 50; });
  }
  program->WaitFor("host-closed");
  cHost host(link);
  host.ReadUntil([&] { return host.idle >= 3; });
  // Nothing is left over for the next host, and nothing is on.
  EXPECT_THAT(host.packets, IsEmpty());
  EXPECT_EQ(host.damaged, 0U);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
  Synchronise();
  EXPECT_EQ(Packets("rx").back()["number"], 0);
}

TEST_F(ModemSimProcessTest, TheLineIsSetUpAfreshForTheNextHost) {
  Start({});
  {
    cHost host(link);
    program->WaitFor("host-opened");
  }
  program->WaitFor("host-closed");
  const cUniqueFd line(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  ASSERT_EQ(::tcgetattr(line.Get(), &settings), 0);
  EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
}

TEST_F(ModemSimProcessTest, OneOfTwoHostsClosingIsNoEndOfTheOther) {
  Start({});
  cHost host(link);
  std::ignore = host.Ask(Bytes{0x1C});
  { cHost other(link); }
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x60, 1})), "600000");
  Synchronise();
  EXPECT_EQ(Packets("rx").back()["number"], 1);
}

TEST_F(ModemSimProcessTest, RequestsAreReadWhileTheHostReadsNothing) {
  Start({"--settle", "0", "--rate", "max", "--count", "3000"});
  cHost host(link);
  host.SetMasks();
  // The line is full when packets wait; only then is the next request sent.
  program->WaitFor("stream-start");
  host.Send(Bytes{0x1C});
  WaitForReport([](const json& line) {
    return line.value("dir", "") == "rx" && line.value("hex", "") == "1c";
  });
  host.ReadUntil([&] { return host.packets.size() == 3000U + 5U; });
  program->WaitFor("stream-end");
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, AtTheEndOfTheStreamItQuitsWhenTold) {
  Start({"--rate", "max", "--count", "10", "--then", "quit"});
  cHost host(link);
  host.SetMasks();
  host.ReadToTheEnd();
  EXPECT_EQ(host.packets.size(), 14U);
  EXPECT_EQ(program->WaitFor("stream-end")["packets"], 10);
  const json end = program->WaitFor("end");
  EXPECT_EQ(end["streamed"], 10);
  EXPECT_EQ(end["requests"], 4);
  EXPECT_EQ(program->Wait(), 0);
}

TEST_F(ModemSimProcessTest, AtTheEndOfTheStreamItHangsUpWhenToldAndStaysAway) {
  Start({"--rate", "max", "--count", "10", "--then", "hang-up", "--return-after", "1ms"});
  cHost host(link);
  host.SetMasks();
  host.ReadToTheEnd();
  program->WaitFor("unplugged");
  EXPECT_EQ(program->Command("unplug"), "not plugged in");
}

TEST_F(ModemSimProcessTest, TheStreamEndsAfterItsDuration) {
  Start({"--rate", "200", "--duration", "100ms"});
  cHost host(link);
  host.SetMasks();
  ReadWholeStream(host);
  ExpectReported(host);
}

TEST_F(ModemSimProcessTest, ASignalEndsItCleanly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Start({});
    cHost host(link);
    program->Signal(signal);
    EXPECT_EQ(program->Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
    EXPECT_EQ(Report().back()["event"], "end");
  }
}

TEST_F(ModemSimProcessTest, TheEndOfItsCommandsIsNotItsEnd) {
  Start({});
  program->CloseCommands();
  cHost host(link);
  EXPECT_EQ(ToHex(host.Ask(Bytes{0x1C})), "1c0800");
}

TEST_F(ModemSimProcessTest, AnOldLinkIsReplacedAndAForeignOneLeftAlone) {
  std::filesystem::create_symlink("/nowhere", link);
  Start({});
  EXPECT_EQ(std::filesystem::read_symlink(link), plugged["path"].get<std::string>());
  std::filesystem::remove(link);
  std::filesystem::create_symlink("/elsewhere", link);
  EXPECT_EQ(program->Command("quit"), "ok");
  EXPECT_EQ(program->Wait(), 0);
  EXPECT_EQ(std::filesystem::read_symlink(link), "/elsewhere");
}

TEST_F(ModemSimProcessTest, WithoutReportFileThePacketsGoToStandardOutput) {
  program.emplace(std::vector<std::string>{"--link", link});
  program->WaitFor("plugged");
  cHost host(link);
  std::ignore = host.Ask(Bytes{0x1C});
  program->WaitFor("host-opened");
  EXPECT_EQ(program->NextLine()["hex"], "1c");
  EXPECT_EQ(program->NextLine()["hex"], "1c0800");
}

TEST_F(ModemSimProcessTest, WhatCannotBeSetUpIsRefused) {
  std::ofstream(folder.Path("file")) << "kept";
  EXPECT_EQ(cProgram({"--link", folder.Path("file")}).Wait(), 1);
  EXPECT_EQ(std::filesystem::file_size(folder.Path("file")), 4U);
  EXPECT_EQ(cProgram({"--link", folder.Path("no/such/place")}).Wait(), 1);
  EXPECT_EQ(cProgram({"--report", folder.Path("no/such/place")}).Wait(), 1);
  EXPECT_EQ(cProgram({"--report", "/dev/full"}).Wait(), 1);
  EXPECT_EQ(cProgram({"--rate", "x"}).Wait(), 2);
}

}  // namespace
}  // namespace corvane::modem_sim
