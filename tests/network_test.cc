// IP support: when it is loaded, the host's name and suffix as the files of /etc give them, the list of interfaces that
// were made for it, and addresses as text. Cases that name the host or add interfaces do it in namespaces of a child.

#include <arpa/inet.h>
#include <sched.h>
#include <sys/resource.h>

#include "support/statuses.h"
#include "support/test.h"

namespace {

using namespace support;

/// A status as the tables write it.
int shown(uint32_t status)
{
  return static_cast<int>(status);
}

/// Runs code on a host of its own, with the loopback as its only interface, and returns what it reported.
template <class Code>
std::string onHost(const std::string &name, Code code)
{
  Child child([&](Inside &inside) {
    if (unshare(CLONE_NEWUTS | CLONE_NEWNET) != 0 || sethostname(name.c_str(), name.size()) != 0) {
      inside.report("no host: %s", strerror(errno));
      return;
    }
    code(inside);
  });
  return child.report();
}

TEST(IPSupport, AnswersFromAttachToDetach)
{
  Child child([](Inside &inside) {
    uint32_t size = 4;
    inside.report({ipsuptLoaded, shown(LoadIPSupt()), ipsuptLoaded});
    ModuleDetach();
    inside.report({ipsuptLoaded, shown(UnLoadIPSupt()), shown(GetIPHostName(nullptr, nullptr)),
                   shown(UCS2GetIPHostName(nullptr, nullptr)), shown(GetIPAddrStrList(nullptr, nullptr)),
                   shown(GetDNSSuffixName(nullptr, nullptr)), shown(GetDNSSuffixName(nullptr, &size)),
                   shown(IPAddrASCIIToNetwork(nullptr, nullptr)), shown(IPAddrNetworkToASCII(0, nullptr, nullptr)),
                   size});
    inside.report({shown(LoadIPSupt()), shown(LoadIPSupt()), ipsuptLoaded});
    // Somebody has loaded it: the attach fails, and leaves him what is his.
    inside.report({ModuleAttach(), modAttachCount, hGFileLock, ipsuptLoaded});
    inside.report({shown(UnLoadIPSupt()), shown(UnLoadIPSupt()), ModuleAttach(), ipsuptLoaded});
    UnLoadIPSupt();
    inside.report({ModuleDetach(), modAttachCount, ipsuptLoaded});
  });
  EXPECT_EQ(child.report(), "1 2 1\n0 2 17 17 17 271 17 17 17 4\n0 2 1\n0 0 0 1\n0 2 1 1\n1 0 0\n");
}

TEST(IPSupport, AFailedAttachUnloadsIt)
{
  Child child([](Inside &inside) {
    ModuleDetach();
    unsigned failed = 0;
    (void)failEach(Call::allocation, ENOMEM, [&](unsigned) {
      const uint32_t attached = ModuleAttach();
      failed += attached == 0 ? 1 : 0;
      if (ipsuptLoaded != static_cast<SMBool>(attached)) {
        inside.report("attached %u, but loaded %d", attached, ipsuptLoaded);
      }
      ModuleDetach();
    });
    inside.report({failed > 0});
  });
  EXPECT_EQ(child.report(), "1\n");
}

TEST(HostName, InBothEncodings)
{
  const struct {
    std::string name;
    uint32_t units;
  } rows[] = {{"node1", 5}, {"n\xC3\xB6rd", 4}, {std::string(64, 'n'), 64}};
  for (const auto &row : rows) {
    const auto exact = static_cast<uint32_t>(row.name.size() + 1);
    const std::string report = onHost(row.name, [&](Inside &inside) {
      GuardedBlock name(exact);
      auto *text = reinterpret_cast<char *>(name.data());
      uint32_t size = exact;
      inside.report({shown(GetIPHostName(text, &size)), size == exact, row.name == text});
      GuardedBlock shorter(exact - 1);
      size = exact - 1;
      inside.report({shown(GetIPHostName(reinterpret_cast<char *>(shorter.data()), &size)), size == exact - 1});
      size = 0;
      const uint32_t measured = UCS2GetIPHostName(nullptr, &size);
      inside.report({shown(measured), size == row.units * 2 + 2});
      SMChar16 units[65];
      --size;
      inside.report({shown(UCS2GetIPHostName(units, &size)), size == row.units * 2 + 1});
      ++size;
      inside.report({shown(UCS2GetIPHostName(units, &size)), units[0], UCS2Strlen(units) == row.units});
    });
    EXPECT_EQ(report, "0 1 1\n-1 1\n0 1\n16 1\n0 110 1\n") << row.name;
  }
  const std::string noUtf8 = onHost("n\xC3", [](Inside &inside) {
    uint32_t size = 77;
    inside.report({shown(UCS2GetIPHostName(nullptr, &size)), size});
  });
  EXPECT_EQ(noUtf8, "257 77\n");
}

/// Makes the scratch files of /etc the only source of names.
void writeHosts(const std::string &lines)
{
  std::ofstream("/etc/nsswitch.conf") << "hosts: files\n";
  std::ofstream("/etc/hosts") << lines;
}

TEST(DNSSuffix, StandsBehindTheFirstFullStopOfTheOfficialName)
{
  std::string manyAliases;
  for (int i = 0; i < 500; ++i) {
    manyAliases += " alias" + std::to_string(i);
  }
  writeHosts(
      "10.0.0.1 node1\n10.0.0.2 node2.suite.example node2\n2001:db8::3 node3.suite.example node3\n10.0.0.4 node4.a" +
      manyAliases + " node4\n10.0.0.5 node5. node5\n10.0.0.6 " + std::string(63, 'n') + ".x " + std::string(63, 'n') +
      "\n");
  const struct {
    std::string host;
    uint32_t status;
    std::string suffix;
  } rows[] = {
      {"node1", 0, ""},
      {"node2", 0, "suite.example"},
      {"node2.suite.example", 0, "suite.example"},
      {"node3", kFailed, ""},
      {"node4", 0, "a"},
      {"node5", 0, ""},
      {"nobody", kFailed, ""},
      {std::string(63, 'n'), 0, "x"},
      {std::string(64, 'n'), kFailed, ""},
  };
  for (const auto &row : rows) {
    const auto needed = static_cast<uint32_t>(row.suffix.size() + 1);
    const std::string report = onHost(row.host, [&](Inside &inside) {
      uint32_t size = 4242;
      inside.report({shown(GetDNSSuffixName(nullptr, &size)), size});
      GuardedBlock exact(needed);
      auto *text = reinterpret_cast<char *>(exact.data());
      size = needed;
      const uint32_t status = GetDNSSuffixName(text, &size);
      inside.report({shown(status), size, status != 0 || row.suffix == text});
      *text = '!';
      size = needed - 1;
      inside.report({shown(GetDNSSuffixName(text, &size)), size, *text == '!'});
    });
    const std::string size = std::to_string(needed);
    EXPECT_EQ(report,
              row.status == 0 ? "0 " + size + "\n0 " + size + " 1\n16 " + size + " 1\n" : "-1 4242\n-1 1 1\n-1 0 1\n")
        << row.host;
  }
}

TEST(DNSSuffix, WithoutMemory)
{
  writeHosts("10.0.0.2 node2.suite.example node2\n");
  const std::string report = onHost("node2", [](Inside &inside) {
    uint32_t size = 4242;
    (void)GetDNSSuffixName(nullptr, &size);  // what the resolver keeps for good
    const long blocks = liveBlocks();
    const unsigned struck = failEach(Call::allocation, ENOMEM, [&](unsigned nth) {
      size = 4242;
      const uint32_t status = GetDNSSuffixName(nullptr, &size);
      const bool ours = nth <= 2;
      if (status != 0 && (status != (ours ? SM_STATUS_NO_MEMORY : kFailed) || size != 4242)) {
        inside.report({nth, shown(status), size});
      }
    });
    inside.report({struck >= 2, liveBlocks() - blocks});
  });
  EXPECT_EQ(report, "1 0\n");
}

/// Adds an interface, with an address unless that is empty.
void addInterface(const std::string &name, const std::string &address)
{
  const std::string add = "ip link add " + name + " type bridge";
  const std::string give = address.empty() ? "" : " && ip addr add " + address + "/24 dev " + name;
  if (system((add + give).c_str()) != 0) {
    fprintf(stderr, "%s has failed\n", add.c_str());
    _exit(EXIT_FAILURE);
  }
}

/// Asks for the list with room for so many, and reports status, count, and the slots up to the first untouched one.
void reportList(Inside &inside, uint32_t room)
{
  GuardedBlock block(std::vector<uint8_t>(room * SM_IP_ADDRESS_SIZE, 0xEE));
  auto *slots = reinterpret_cast<char(*)[SM_IP_ADDRESS_SIZE]>(block.data());
  uint32_t count = room;
  const uint32_t status = GetIPAddrStrList(&count, slots);
  std::string text = std::to_string(shown(status)) + " " + std::to_string(count);
  for (uint32_t i = 0; i < room && slots[i][0] != '\xEE'; ++i) {
    text += std::string(" ") + slots[i];
    for (size_t behind = strlen(slots[i]) + 1; behind < SM_IP_ADDRESS_SIZE; ++behind) {
      text += slots[i][behind] == '\xEE' ? "" : "!";
    }
  }
  inside.report("%s", text.c_str());
}

TEST(AddressList, SlotsOfEveryInterfaceButTheFirst)
{
  const std::string report = onHost("sandbox", [](Inside &inside) {
    const std::string descriptors = openDescriptors();
    uint32_t count = 77;
    inside.report({shown(GetIPAddrStrList(&count, nullptr)), count});
    reportList(inside, 2);
    addInterface("first", "10.1.2.3");
    addInterface("second", "");
    addInterface("third", "192.168.100.200");
    for (uint32_t room = 0; room <= 4; ++room) {
      reportList(inside, room);
    }
    count = 77;
    inside.report({shown(GetIPAddrStrList(&count, nullptr)), count});
    for (int i = 4; i <= 16; ++i) {
      addInterface("more" + std::to_string(i), "");
    }
    count = 1;
    inside.report({shown(GetIPAddrStrList(&count, nullptr)), count});
    inside.report({openDescriptors() == descriptors});
  });
  EXPECT_EQ(report,
            "-1 0\n-1 0\n"
            "16 3\n16 3 10.1.2.3\n16 3 10.1.2.3 0.0.0.0\n0 3 10.1.2.3 0.0.0.0 192.168.100.200\n"
            "0 3 10.1.2.3 0.0.0.0 192.168.100.200\n16 3\n16 15\n1\n");
}

TEST(AddressList, WithoutSocketsAndWithoutRights)
{
  const std::string report = onHost("sandbox", [](Inside &inside) {
    addInterface("first", "10.1.2.3");
    std::string atClose;
    {
      // The socket of the queries is the last descriptor that the library closes.
      const std::string usual = inheritableDescriptors();
      const Fault atLast(Call::close, 1, [&] { atClose = inheritableDescriptors(); });
      reportList(inside, 1);
      inside.report({atClose == usual});
    }
    {
      const Fault noPacketSocket(Call::socket, 1, EPERM);
      reportList(inside, 1);
    }
    {
      const Fault noSocket(Call::socket, 1, EMFILE, true);
      reportList(inside, 1);
    }
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    reportList(inside, 1);
  });
  EXPECT_EQ(report, "0 1 10.1.2.3\n1\n0 1 10.1.2.3\n0 1 0.0.0.0\n-1 0\n");
}

TEST(Address, FromText)
{
  const std::tuple<const char *, uint32_t, uint32_t> rows[] = {
      // an address from left to right, as a number
      {"10.0.0.1", 0, 0x0A000001},
      {"0.0.0.0", 0, 0},
      {"1.2", 0, 0x01000002},
      {"0x7f.1", 0, 0x7F000001},
      {"255.255.255.255", 0, 0xFFFFFFFF},
      {"0xff.0xff.0xff.0xff", 0, 0xFFFFFFFF},
      {"0XFF.0xFF.0Xff.0XFF", 0, ~0u},
      {"300.1.1.1", kFailed, 0},
      {"4294967295", kFailed, 0},
      {"255.255.255.255 ", kFailed, 0},
      {"", kFailed, 0},
      {"host", kFailed, 0},
      {"1.2.3.4.5", kFailed, 0},
  };
  for (const auto &[text, status, expected] : rows) {
    uint32_t address = 0x55555555;
    EXPECT_EQ(IPAddrASCIIToNetwork(text, &address), status) << text;
    EXPECT_EQ(address, status == 0 ? htonl(expected) : 0x55555555) << text;
  }
}

TEST(Address, ToText)
{
  for (const auto &[address, expected] : {std::pair(htonl(0x0A000001), "10.0.0.1"), {~0u, "255.255.255.255"}}) {
    GuardedBlock block(strlen(expected) + 1);
    auto *text = reinterpret_cast<char *>(block.data());
    auto size = static_cast<uint32_t>(block.size());
    EXPECT_EQ(IPAddrNetworkToASCII(address, text, &size), SM_STATUS_SUCCESS);
    EXPECT_EQ(size, strlen(expected));
    EXPECT_STREQ(text, expected);
  }
}

}  // namespace
