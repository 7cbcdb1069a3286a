// Runs a fuzz target without libFuzzer, for ordinary test runs and sanitizer
// builds. Inputs come from a fixed-seed generator that mutates the target's
// seed texts (FerrowFuzzSeeds, when the target defines it) and any seed files
// named on the command line, and feeds some mutants back as parents. The same
// arguments always give the same inputs, so a failure replays exactly.
//
// Usage: <target> [count (default 20000)] [seed file...]
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) const char* const* FerrowFuzzSeeds();

namespace {

// Large enough for inputs to cross the buffer sizes a target uses.
constexpr std::size_t kMaxInput = 40000;
constexpr std::size_t kPoolSize = 256;

// xorshift64*: small, fast and the same on every platform.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint64_t Next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return state_ * 0x2545F4914F6CDD1DULL;
    }
    // Uniform enough in [0, bound) for mutation choices; bound must be > 0.
    std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(Next() % bound); }

private:
    std::uint64_t state_;
};

// Bytes that delimit or end fields in most text formats, and the extremes.
constexpr char kInteresting[] = {'\0', '\xFF', '\x80', '"', '=', ' ', '\n', '\r', '\t', '0',
                                 '1',  '9',    'x',    'X', '-', '+', '.',  'e',  'f',  'F'};

void Mutate(std::string& input, const std::vector<std::string>& pool, Random& random) {
    const std::size_t steps = 1 + random.Below(4);
    for (std::size_t step = 0; step < steps; ++step) {
        const std::size_t at = random.Below(input.size() + 1);
        const std::size_t length = 1 + random.Below(random.Below(4) == 0 ? 256 : 8);
        switch (random.Below(8)) {
            case 0:
                if (!input.empty()) input[random.Below(input.size())] ^= char(1 << random.Below(8));
                break;
            case 1:
                if (!input.empty()) {
                    input[random.Below(input.size())] =
                        kInteresting[random.Below(sizeof kInteresting)];
                }
                break;
            case 2:
                for (std::size_t i = 0; i < length; ++i) {
                    input.insert(input.begin() + at, static_cast<char>(random.Next()));
                }
                break;
            case 3:
                input.erase(at, length);
                break;
            case 4:
                if (at < input.size()) {
                    input.insert(at, input.substr(random.Below(input.size()), length));
                }
                break;
            case 5: {
                const std::string& other = pool[random.Below(pool.size())];
                if (!other.empty()) {
                    input.insert(at, other.substr(random.Below(other.size()), length * 4));
                }
                break;
            }
            case 6: {
                // Now and then a long run moves the rest of the input across
                // buffer ends. Each draw is its own statement: the order in
                // which arguments are evaluated differs between compilers.
                const std::size_t run = random.Below(random.Below(16) == 0 ? kMaxInput / 2 : 64);
                input.insert(at, run, kInteresting[random.Below(sizeof kInteresting)]);
                break;
            }
            default:
                input.resize(std::min(input.size(), at));
                break;
        }
    }
    if (input.size() > kMaxInput) input.resize(kMaxInput);
}

bool ReadFile(const char* name, std::string& bytes) {
    std::ifstream in(name, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

void Run(const std::string& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
    const long count = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 20000;
    if (count < 0) {
        std::fprintf(stderr, "usage: %s [count] [seed file...]\n", argv[0]);
        return 2;
    }
    std::vector<std::string> seeds;
    if (FerrowFuzzSeeds) {
        for (const char* const* seed = FerrowFuzzSeeds(); *seed; ++seed) seeds.emplace_back(*seed);
    }
    for (int i = 2; i < argc; ++i) {
        std::string bytes;
        if (!ReadFile(argv[i], bytes)) {
            std::fprintf(stderr, "%s: cannot read seed file %s\n", argv[0], argv[i]);
            return 2;
        }
        seeds.push_back(std::move(bytes));
    }
    if (seeds.empty()) seeds.emplace_back();

    for (const std::string& seed : seeds) Run(seed);
    std::vector<std::string> pool = seeds;
    Random random(0x9E3779B97F4A7C15ULL);
    std::size_t largest = 0;
    unsigned long long totalBytes = 0;
    for (long n = 0; n < count; ++n) {
        std::string input = pool[random.Below(pool.size())];
        Mutate(input, pool, random);
        Run(input);
        largest = std::max(largest, input.size());
        totalBytes += input.size();
        if (random.Below(8) == 0) {
            if (pool.size() < seeds.size() + kPoolSize) pool.push_back(std::move(input));
            else pool[seeds.size() + random.Below(kPoolSize)] = std::move(input);
        }
    }
    std::printf("%s: %ld mutated inputs from %zu seeds, largest %zu bytes, %llu bytes in all\n",
                argv[0], count, seeds.size(), largest, totalBytes);
    return 0;
}
