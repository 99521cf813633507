// Two processes hand a block over: shared memory holds it, a mutex guards it, an event tells that it is there.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <qvsupt32/qvsupt32.hpp>
#include <vector>

namespace qv = qvsupt32;

namespace {

constexpr std::uint16_t kFieldReading = 1;
constexpr std::uint8_t kTypeU32 = 1;

int receive()
{
  // The parent made all three before it forked, so they exist.
  auto memory = qv::shared_memory::open("example-readings");
  auto guard = qv::mutex::open("example-readings");
  auto ready = qv::event::open("example-ready");
  if (!memory || !guard || !ready || ready->wait(10000) != qv::status::success) {
    return 1;
  }
  std::vector<std::byte> copy;
  {
    const auto held = guard->lock(10000);
    if (!held) {
      return 1;
    }
    const auto shared = memory->bytes();
    copy.assign(shared.begin(), shared.end());  // others may write to the segment: look at a copy
  }
  const auto block = qv::block_view::checked(copy);
  std::cout << "received " << (block ? block->find<std::uint32_t>(kFieldReading).value_or(0) : 0) << std::endl;
  return 0;
}

}  // namespace

int main()
{
  auto memory = qv::shared_memory::create("example-readings", 4096);
  auto guard = qv::mutex::create("example-readings");
  auto ready = qv::event::create("example-ready", qv::event::reset_mode::automatic);
  auto reading = qv::object::create();
  if (!memory || !guard || !ready || !reading) {
    std::cerr << "the named objects cannot be made\n";
    return 1;
  }
  const pid_t child = fork();
  if (child == 0) {
    _exit(receive());  // the parent's handles are not the child's to close
  }
  int status = 1;
  if (reading->add(kFieldReading, kTypeU32, std::uint32_t{42}) == qv::status::success) {
    const auto block = reading->to_block();
    const auto held = guard->lock();
    if (block && held) {
      std::ranges::copy(block->bytes(), memory->bytes().begin());
      std::cout << "sent " << block->bytes().size() << " bytes" << std::endl;
    }
  }
  if (ready->set() == qv::status::success && waitpid(child, &status, 0) == child && status == 0) {
    memory->remove();
    guard->remove();
    ready->remove();
    return 0;
  }
  return 1;
}
