// A part of a component that is compiled in the newer language mode.

#include <qvsupt32/qvsupt32.hpp>
#include <string>

std::string settingInOtherMode(const char *path);

std::string settingInOtherMode(const char *path)
{
  qvsupt32::ini_file file(path);
  if (file.set("s", "n", std::uint32_t{30}) != qvsupt32::status::success) {
    return "not stored";
  }
  const qvsupt32::result<std::uint32_t> number = file.get<std::uint32_t>("s", "n");
  const qvsupt32::result<bool> absent = file.get<bool>("s", "absent");
  const std::string text = absent ? "present" : qvsupt32::to_text(absent.error());
  return std::to_string(number.value_or(0)) + "; " + text.substr(0, text.find(':'));
}
