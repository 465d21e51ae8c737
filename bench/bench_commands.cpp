// Whole commands of vaultix-tool against the least their work can cost on
// this machine, measured in the same run, pair by pair, so that a ratio holds
// while the machine's speed drifts:
//
//   bench_commands BUILD_DIR [--tool PATH] [--runs N] [COUNT ...]
//
// BUILD_DIR holds vx_demodata and bench_floor (and vaultix-tool, unless
// --tool names another build's, e.g. an older one to compare with). For each
// COUNT (default 10000 and 100000) a data file of that many made-up records,
// half of them protected, is made in a fresh folder under $TMPDIR (or /tmp),
// then each figure runs N times (default 7) after one warm-up, alternating
// with its floor:
//
//   add one record      import of a one-line CSV      floor: one 100-byte pwrite + fsync
//   password change     passwd, to another password   floor: the file rewritten whole + fsync
//   import              COUNT lines into a new file   floor: that file rewritten whole + fsync
//   list, show          read-only commands            floor: list on a new, empty file
//
// Each process's standard output goes to /dev/null. Medians are printed, and
// the median of the pairwise ratios; the targets are printed beside them,
// never enforced.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

const char* const Password = "bench password";
const char* const Other = "other password";

struct Command
{
    std::vector<std::string> argv;
    std::string input; // a file for standard input; empty: /dev/null
};

// Runs the command to its end; its wall time in milliseconds, or a negative
// number when it could not be run or did not exit 0.
double run(const Command& c)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (posix_spawn_file_actions_addopen(&actions, 0, c.input.empty() ? "/dev/null" : c.input.c_str(), O_RDONLY, 0)
        || posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0)
        || posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0)) {
        posix_spawn_file_actions_destroy(&actions);
        return -1;
    }
    std::vector<char*> argv;
    for (const std::string& a : c.argv)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int error = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid)
        return -1;
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? ms : -1;
}

bool runQuiet(const Command& c)
{
    return run(c) >= 0;
}

double median(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

long long sizeOf(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? (long long)info.st_size : -1;
}

bool writeText(const std::string& path, const std::string& text)
{
    FILE* f = std::fopen(path.c_str(), "w");
    if (!f)
        return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

struct Figure
{
    std::string name;
    double command = 0; // median, ms
    double floor = 0;
    double ratio = 0;   // median of the pairwise ratios
    double target = 0;  // 0: none
    bool failed = false;
};

// Warm-up, then `runs` pairs: before each run of either, `reset` (not timed).
Figure measure(const std::string& name, int runs, double target, const std::function<Command()>& command,
               const std::function<Command()>& floor, const std::function<void()>& reset = {})
{
    Figure f;
    f.name = name;
    f.target = target;
    std::vector<double> a, b, r;
    for (int i = 0; i <= runs; ++i) {
        if (reset)
            reset();
        const double x = run(command());
        const double y = run(floor());
        if (x < 0 || y < 0) {
            f.failed = true;
            return f;
        }
        if (i == 0)
            continue;
        a.push_back(x);
        b.push_back(y);
        r.push_back(x / y);
    }
    f.command = median(a);
    f.floor = median(b);
    f.ratio = median(r);
    return f;
}

void print(const Figure& f)
{
    if (f.failed) {
        std::printf("  %-34s FAILED (a run did not exit 0)\n", f.name.c_str());
        return;
    }
    char target[32] = "";
    if (f.target > 0)
        std::snprintf(target, sizeof target, "at most %.0fx", f.target);
    std::printf("  %-34s %9.1f %9.1f %8.1fx   %s\n", f.name.c_str(), f.command, f.floor, f.ratio, target);
}

bool inPath(const char* program)
{
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "";
    size_t from = 0;
    while (from <= dirs.size()) {
        const size_t to = std::min(dirs.find(':', from), dirs.size());
        const std::string candidate = dirs.substr(from, to - from) + "/" + program;
        if (to > from && access(candidate.c_str(), X_OK) == 0)
            return true;
        from = to + 1;
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_commands BUILD_DIR [--tool PATH] [--runs N] [COUNT ...]\n");
        return 2;
    }
    const std::string build = argv[1];
    std::string tool = build + "/vaultix-tool";
    int runs = 7;
    std::vector<int> counts;
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--tool") == 0 && i + 1 < argc)
            tool = argv[++i];
        else if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc)
            runs = std::max(1, std::atoi(argv[++i]));
        else if (std::atoi(argv[i]) > 0)
            counts.push_back(std::atoi(argv[i]));
        else {
            std::fprintf(stderr, "bench_commands: unknown argument %s\n", argv[i]);
            return 2;
        }
    }
    if (counts.empty())
        counts = {10000, 100000};
    const std::string demodata = build + "/vx_demodata";
    const std::string floorProgram = build + "/bench_floor";
    for (const std::string& p : {tool, demodata, floorProgram}) {
        if (access(p.c_str(), X_OK) != 0) {
            std::fprintf(stderr, "bench_commands: %s is missing\n", p.c_str());
            return 2;
        }
    }

    const char* tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/bench_commands_XXXXXX";
    if (!mkdtemp(dir.data())) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string pw1 = dir + "/pw1", one = dir + "/one.csv";
    // A password change back and forth, so that every run changes it.
    const std::string there = dir + "/pw-there", back = dir + "/pw-back";
    writeText(pw1, std::string(Password) + "\n");
    writeText(there, std::string(Password) + "\n" + Other + "\n" + Other + "\n");
    writeText(back, std::string(Other) + "\n" + Password + "\n" + Password + "\n");
    writeText(one, "Imported,One more title,user,secret,https://example.org,,,A note\n");

    std::printf("tool %s, %d runs each after one warm-up, times in ms (medians)\n", tool.c_str(), runs);
    std::printf("  %-34s %9s %9s %9s\n", "figure", "command", "floor", "ratio");
    bool ok = true;
    std::vector<std::vector<Figure>> all;
    for (int count : counts) {
        const std::string n = std::to_string(count);
        const std::string data = dir + "/data" + n + ".dat", csv = dir + "/rows" + n + ".csv";
        const std::string add = dir + "/add" + n + ".dat", pw = dir + "/pw" + n + ".dat";
        const std::string fresh = dir + "/new" + n + ".dat", empty = dir + "/empty.dat";
        const std::string smallFloor = dir + "/floor-small", bigFloor = dir + "/floor-big";
        if (!runQuiet({{demodata, data, n, "--password-stdin"}, pw1})
            || !runQuiet({{tool, "--file", data, "export", csv, "--password-stdin"}, pw1})
            || !runQuiet({{"/bin/cp", data, add}, ""}) || !runQuiet({{"/bin/cp", data, pw}, ""})
            || (sizeOf(empty) < 0 && !runQuiet({{tool, "--file", empty, "list"}, ""}))) {
            std::fprintf(stderr, "bench_commands: cannot prepare %d records in %s\n", count, dir.c_str());
            return 1;
        }
        std::printf("%d records, data file %lld bytes\n", count, sizeOf(data));
        std::vector<Figure> figures;
        auto floorWrite = [&] { return Command{{floorProgram, "write", smallFloor}, ""}; };
        auto floorRewrite = [&](const std::string& like) {
            return [&, like] { return Command{{floorProgram, "rewrite", bigFloor, std::to_string(sizeOf(like))}, ""}; };
        };
        auto emptyList = [&] { return Command{{tool, "--file", empty, "list"}, ""}; };

        figures.push_back(measure("add one record (import 1 line)", runs, 5,
                                  [&] { return Command{{tool, "--file", add, "import", one, "--password-stdin"}, pw1}; },
                                  floorWrite));
        int changes = 0;
        figures.push_back(measure("password change (passwd)", runs, 3,
                                  [&] { return Command{{tool, "--file", pw, "passwd"}, changes++ % 2 ? back : there}; },
                                  floorRewrite(pw)));
        auto removeFresh = [&] {
            unlink(fresh.c_str());
            unlink((fresh + "-journal").c_str());
        };
        // The floor rewrites a file as long as the one the import makes.
        removeFresh();
        runQuiet({{tool, "--file", fresh, "import", csv}, ""});
        figures.push_back(measure("import " + n + " lines, new file", runs, 3,
                                  [&] { return Command{{tool, "--file", fresh, "import", csv}, ""}; },
                                  floorRewrite(fresh), removeFresh));
        figures.push_back(measure("list (locked)", runs, 0,
                                  [&] { return Command{{tool, "--file", data, "list"}, ""}; }, emptyList));
        figures.push_back(measure("list (unlocked)", runs, 0,
                                  [&] { return Command{{tool, "--file", data, "list", "--password-stdin"}, pw1}; },
                                  emptyList));
        figures.push_back(measure("show one record", runs, 0,
                                  [&] { return Command{{tool, "--file", data, "show", "1001", "--password-stdin"}, pw1}; },
                                  emptyList));
        for (const Figure& f : figures) {
            print(f);
            ok = ok && !f.failed;
        }
        all.push_back(figures);
        for (const std::string& p : {data, csv, add, pw, fresh, smallFloor, bigFloor})
            unlink(p.c_str());
        unlink((fresh + "-journal").c_str());
    }
    if (all.size() > 1) {
        std::printf("growth from %d to %d records (the command's median; linear: at most %.0fx)\n", counts.front(),
                    counts.back(), double(counts.back()) / counts.front());
        for (size_t i = 0; i < all.front().size(); ++i) {
            if (!all.front()[i].failed && !all.back()[i].failed && all.front()[i].command > 0)
                std::printf("  %-34s %8.1fx\n", all.front()[i].name.c_str(),
                            all.back()[i].command / all.front()[i].command);
        }
    }
    std::printf("list against keepassxc-cli: bench/bench_peer.sh%s\n",
                inPath("keepassxc-cli") ? "" : " (keepassxc-cli is not installed)");
    for (const std::string& p : {pw1, there, back, one, dir + "/empty.dat"})
        unlink(p.c_str());
    rmdir(dir.c_str());
    return ok ? 0 : 1;
}
