// A browser without a window, driven through its debugging pipe: a page is loaded, asked, and used with mouse and keys.
#pragma once

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>

namespace tool {

class Browser {
 public:
  /// Where the browser is; empty when it is not installed.
  static std::string program();

  Browser();
  ~Browser();
  Browser(const Browser &) = delete;
  Browser &operator=(const Browser &) = delete;

  /// Loads a page and waits until it is loaded.
  void load(const std::string &url);

  /// The value of an expression of the page's language. Fails the case when it throws.
  nlohmann::json value(const std::string &expression);

  /// Presses the mouse at one place, moves it to another and lets go.
  void drag(double fromX, double fromY, double toX, double toY);

  /// "ArrowDown"
  void press(const std::string &key);

  void setSize(int width, int height);

  /// A command of the protocol and its result.
  nlohmann::json call(const std::string &method, nlohmann::json parameters = nlohmann::json::object());

 private:
  nlohmann::json receive();
  void mouse(const std::string &type, double x, double y);

  pid_t process_ = -1;
  int to_ = -1;
  int from_ = -1;
  int lastId_ = 0;
  std::string session_;
  std::string received_;
};

}  // namespace tool
