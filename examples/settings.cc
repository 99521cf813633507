// Settings in an INI file, typed: a default where nothing is stored, a value that stays, a key that goes.
//
// usage: settings FILE.ini
#include <cstdint>
#include <iostream>
#include <qvsupt32/qvsupt32.hpp>

namespace qv = qvsupt32;

int main(int argc, char **argv)
{
  if (argc != 2) {
    std::cerr << "usage: settings FILE.ini\n";
    return 2;
  }
  qv::ini_file settings(argv[1]);

  // A missing file, section or key gives the default; a lock that is not obtained or a malformed file does not.
  const auto interval = settings.get_or<std::uint32_t>("poll", "seconds", 60);
  if (!interval) {
    std::cerr << argv[1] << ": " << qv::to_text(interval.error()) << '\n';
    return 1;
  }
  std::cout << "poll every " << *interval << " s\n";

  for (const qv::status done : {
           settings.set("poll", "seconds", std::uint32_t{30}),
           settings.set("poll", "enabled", true),
           settings.set("alarm", "threshold", 71.5),
           settings.set("alarm", "contact", "operator@example.com"),
           settings.unset("poll", "enabled"),
       }) {
    if (done != qv::status::success) {
      std::cerr << argv[1] << ": " << make_error_code(done).message() << '\n';
      return 1;
    }
  }

  std::cout << "now every " << settings.get<std::uint32_t>("poll", "seconds").value_or(0) << " s, alarm at "
            << settings.get<double>("alarm", "threshold").value_or(0) << ", contact "
            << settings.get<std::string>("alarm", "contact").value_or("nobody") << '\n';
  const auto gone = settings.get<bool>("poll", "enabled");
  std::cout << "enabled: " << (gone ? "stored" : qv::to_text(gone.error())) << '\n';
}
