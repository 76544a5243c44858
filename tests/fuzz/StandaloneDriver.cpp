// Seeded random driver, for compilers without libFuzzer: replays the files named on the command
// line, then runs random inputs for --seconds=N (default 60) from --seed=S (default 1).
// KALIX_FUZZ_LAST=file keeps the input being run, for reproducing a crash or a hang.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  double seconds = 60;
  std::uint64_t s = 1, runs = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a.rfind("--seconds=", 0) == 0) {
      seconds = std::stod(a.substr(10));
    } else if (a.rfind("--seed=", 0) == 0) {
      s = std::stoull(a.substr(7));
    } else {
      std::ifstream f(a, std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(f), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  const auto next = [&s] { return s = s * 6364136223846793005ull + 1442695040888963407ull; };
  for (std::vector<std::uint8_t> buf; std::chrono::steady_clock::now() < end; ++runs) {
    buf.resize(1 + (next() >> 33) % 512);
    for (auto& b : buf) b = static_cast<std::uint8_t>(next() >> 56);
    if (const char* keep = std::getenv("KALIX_FUZZ_LAST"))
      std::ofstream(keep, std::ios::binary).write(reinterpret_cast<const char*>(buf.data()), std::ssize(buf));
    LLVMFuzzerTestOneInput(buf.data(), buf.size());
  }
  std::printf("fuzz: %llu random inputs, nothing found\n", static_cast<unsigned long long>(runs));
  return 0;
}
