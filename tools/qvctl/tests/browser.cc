// See browser.h.

#include "browser.h"

#include "support/test.h"

namespace tool {
namespace {

using namespace support;

// The descriptors that the browser's debugging pipe has.
constexpr int kCommands = 3;
constexpr int kAnswers = 4;

}  // namespace

std::string Browser::program()
{
  for (const char *path : {"/usr/lib/chromium/chromium", "/usr/bin/chromium"}) {
    if (access(path, X_OK) == 0) {
      return path;
    }
  }
  return {};
}

Browser::Browser()
{
  int commands[2];
  int answers[2];
  EXPECT_EQ(pipe2(commands, O_CLOEXEC), 0);
  EXPECT_EQ(pipe2(answers, O_CLOEXEC), 0);
  process_ = fork();
  if (process_ == 0) {
    setpgid(0, 0);
    constexpr int kAway = 50;  // so that the ends do not lie in each other's way
    dup2(commands[0], kAway);
    dup2(answers[1], kAway + 1);
    dup2(kAway, kCommands);
    dup2(kAway + 1, kAnswers);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    setenv("HOME", "/dev/shm/scratch", 1);
    execl(program().c_str(), "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
          "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
          "--remote-debugging-pipe", "--user-data-dir=/dev/shm/scratch/browser", "--window-size=1400,900", nullptr);
    _exit(127);
  }
  close(commands[0]);
  close(answers[1]);
  to_ = commands[1];
  from_ = answers[0];
  const std::string target = call("Target.createTarget", {{"url", "about:blank"}})["targetId"];
  session_ = call("Target.attachToTarget", {{"targetId", target}, {"flatten", true}})["sessionId"];
  call("Page.enable");
}

Browser::~Browser()
{
  close(to_);
  close(from_);
  kill(-process_, SIGKILL);  // itself and the processes that it started
  waitpid(process_, nullptr, 0);
}

nlohmann::json Browser::receive()
{
  for (;;) {
    const size_t end = received_.find('\0');
    if (end != std::string::npos) {
      const std::string message = received_.substr(0, end);
      received_.erase(0, end + 1);
      return nlohmann::json::parse(message);
    }
    char piece[65536];
    const ssize_t got = read(from_, piece, sizeof piece);
    if (got <= 0) {
      ADD_FAILURE() << "the browser went away";
      return {{"id", lastId_}, {"result", nlohmann::json::object()}, {"method", "Page.loadEventFired"}};
    }
    received_.append(piece, static_cast<size_t>(got));
  }
}

nlohmann::json Browser::call(const std::string &method, nlohmann::json parameters)
{
  nlohmann::json message = {{"id", ++lastId_}, {"method", method}, {"params", std::move(parameters)}};
  if (!session_.empty()) {
    message["sessionId"] = session_;
  }
  const std::string bytes = message.dump() + '\0';
  EXPECT_EQ(write(to_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  for (;;) {
    nlohmann::json answer = receive();
    if (answer.value("id", 0) == lastId_) {
      EXPECT_FALSE(answer.contains("error")) << method << answer.dump();
      return answer["result"];
    }
  }
}

void Browser::load(const std::string &url)
{
  call("Page.navigate", {{"url", "about:blank"}});  // an address that differs behind the "#" only is no new page
  call("Page.navigate", {{"url", url}});
  for (;;) {
    // Asked rather than waited for: the answer to the command may come after the event.
    const nlohmann::json state = value("[location.href, document.readyState]");
    if (state[1] == "complete" && state[0] != "about:blank") {
      return;
    }
    usleep(20000);
  }
}

nlohmann::json Browser::value(const std::string &expression)
{
  const nlohmann::json result =
      call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}, {"awaitPromise", true}});
  EXPECT_FALSE(result.contains("exceptionDetails")) << result.dump();
  return result.contains("result") ? result["result"].value("value", nlohmann::json()) : nlohmann::json();
}

void Browser::mouse(const std::string &type, double x, double y)
{
  call("Input.dispatchMouseEvent",
       {{"type", type}, {"x", x}, {"y", y}, {"button", "left"}, {"buttons", 1}, {"clickCount", 1}});
}

void Browser::drag(double fromX, double fromY, double toX, double toY)
{
  mouse("mousePressed", fromX, fromY);
  mouse("mouseMoved", (fromX + toX) / 2, (fromY + toY) / 2);
  mouse("mouseMoved", toX, toY);
  mouse("mouseReleased", toX, toY);
}

void Browser::press(const std::string &key)
{
  for (const char *type : {"keyDown", "keyUp"}) {
    call("Input.dispatchKeyEvent", {{"type", type}, {"key", key}, {"code", key}});
  }
}

void Browser::setSize(int width, int height)
{
  call("Emulation.setDeviceMetricsOverride",
       {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", true}});
}

}  // namespace tool
