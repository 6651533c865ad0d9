// Times of the library, each next to what it is to be compared with: ./span_bench
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "libspan.h"

namespace {

constexpr int kSamples = 200;

double processor_seconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The shortest of many runs, in microseconds: what the work takes when nothing disturbs it.
template <class Work>
double shortest(Work work) {
  double best = 1e9;
  for (int i = 0; i < kSamples; ++i) {
    const double start = processor_seconds();
    work();
    const double seconds = processor_seconds() - start;
    if (seconds < best) best = seconds;
  }
  return best * 1e6;
}

// Text of standard output, dropped, while the object lives.
class Silence {
 public:
  Silence() {
    std::fflush(stdout);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept_ = dup(STDOUT_FILENO);
};

template <class Function>
Function* find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

void* load(const char* path) {
  void* const library = dlopen(path, RTLD_NOW);
  if (library == nullptr) {
    std::fprintf(stderr, "span_bench: %s\n", dlerror());
    std::exit(1);
  }
  return library;
}

// ---- Range text ------------------------------------------------------------------------------------------------------

bool contains(const span_vsan_holder_t& set, uint32_t vsan) { return (set.bits[vsan / 8] & 0x80 >> vsan % 8) != 0; }

char* put_number(char* text, uint32_t number) {
  if (number >= 10) text = put_number(text, number / 10);
  *text++ = static_cast<char>('0' + number % 10);
  return text;
}

// Calls put(first, last) for each run.
template <class Put>
void each_run(const span_vsan_holder_t& set, Put put) {
  for (uint32_t vsan = 0; vsan < SPAN_VSANS; ++vsan) {
    if (!contains(set, vsan)) continue;
    const uint32_t first = vsan;
    while (vsan + 1 < SPAN_VSANS && contains(set, vsan + 1)) ++vsan;
    put(first, vsan);
  }
}

void single_loop(const span_vsan_holder_t& set) {
  static char text[16384];
  char* end = text;
  each_run(set, [&end](uint32_t first, uint32_t last) {
    if (end != text) *end++ = ',';
    end = put_number(end, first);
    if (last == first) return;
    *end++ = '-';
    end = put_number(end, last);
  });
  std::fwrite(text, 1, static_cast<size_t>(end - text), stdout);
}

void printf_each_run(const span_vsan_holder_t& set) {
  const char* separator = "";
  each_run(set, [&separator](uint32_t first, uint32_t last) {
    std::printf(last == first ? "%s%u" : "%s%u-%u", separator, first, last);
    separator = ",";
  });
}

void measure_range_text(void* library) {
  auto* const range_text = find<decltype(span_vsan_bitset_sprintf)>(library, "span_vsan_bitset_sprintf");
  span_vsan_holder_t every_second{SPAN_VSAN_BYTES, {}};
  std::memset(every_second.bits, 0x55, sizeof every_second.bits);

  double own, loop, each;
  {
    const Silence silence;
    own = shortest([&] { range_text(&every_second); });
    loop = shortest([&] { single_loop(every_second); });
    each = shortest([&] { printf_each_run(every_second); });
  }
  std::printf("range text of 2048 runs           %9.1f us\n", own);
  std::printf("  hand-made single loop           %9.1f us   x %.2f\n", loop, loop / own);
  std::printf("  printf for each run             %9.1f us   x %.2f\n", each, each / own);
}

// ---- Configuration lines ---------------------------------------------------------------------------------------------

void measure_configuration_lines(void* library) {
  auto* const print = find<decltype(span_print_vsan_cfg)>(library, "span_print_vsan_cfg");
  span_vsan_holder_t all{SPAN_VSAN_BYTES, {}};
  std::memset(all.bits, 0xFF, sizeof all.bits);

  double lines;
  {
    const Silence silence;
    lines = shortest([&] {
      for (int i = 0; i < 32; ++i) print("  source vsan", &all);
      std::fflush(stdout);
    });
  }
  std::printf("131072 configuration lines        %9.1f us   to be under 1000\n", lines);
}

// ---- Loading ---------------------------------------------------------------------------------------------------------

// In a process of its own each time: a library that was loaded once loads faster ever after.
double load_microseconds(const char* path) {
  int ends[2];
  if (pipe(ends) != 0) std::exit(1);
  if (fork() == 0) {
    const double start = processor_seconds();
    load(path);
    const double seconds = processor_seconds() - start;
    _exit(write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
  }
  close(ends[1]);
  double seconds = 0;
  if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds) std::exit(1);
  close(ends[0]);
  wait(nullptr);
  return seconds * 1e6;
}

double shortest_load(const char* path) {
  double best = 1e9;
  for (int i = 0; i < kSamples; ++i) {
    const double microseconds = load_microseconds(path);
    if (microseconds < best) best = microseconds;
  }
  return best;
}

void measure_loading() {
  const double own = shortest_load(LIBSPAN);
  const double with_runtime = shortest_load(LIBSPAN_WITH_RUNTIME);
  std::printf("loading libspan.so                %9.1f us\n", own);
  std::printf("  the same with the C++ runtime   %9.1f us   x %.2f\n", with_runtime, with_runtime / own);
}

}  // namespace

int main() {
  std::printf("processor time, the shortest of %d runs\n\n", kSamples);
  measure_loading();
  void* const library = load(LIBSPAN);
  measure_range_text(library);
  measure_configuration_lines(library);
}
