// The least a change to the data file can cost on this machine, as a whole
// process, for the command benchmarks to be measured against:
//
//   bench_floor write FILE          one 100-byte pwrite and an fsync
//   bench_floor rewrite FILE BYTES  BYTES written whole from memory from the
//                                   start of FILE, in one pwrite, and an fsync
//
// and, to weigh ways of changing a whole file safely against that floor:
//
//   bench_floor journal FILE BYTES  first BYTES to "FILE-journal" (made new),
//                                   synced with its folder; then FILE
//                                   rewritten and synced; then the journal
//                                   removed and the folder synced
//   bench_floor replace FILE BYTES  BYTES to "FILE-new" (made new), synced,
//                                   renamed over FILE, the folder synced
//
// FILE is made when missing; nothing else is done, so the process's start
// and end are part of the figure, as they are of a command's.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

bool writeAll(int fd, const std::vector<char>& data)
{
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = pwrite(fd, data.data() + done, data.size() - done, off_t(done));
        if (n <= 0) {
            std::perror("pwrite");
            return false;
        }
        done += size_t(n);
    }
    return true;
}

bool syncFolderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool ok = fd >= 0 && fsync(fd) == 0;
    if (!ok)
        std::perror(folder.c_str());
    if (fd >= 0)
        close(fd);
    return ok;
}

// BYTES to a new file at `path`, synced; the descriptor stays open.
int writeNew(const std::string& path, const std::vector<char>& data)
{
    unlink(path.c_str());
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0 || !writeAll(fd, data) || fsync(fd) != 0) {
        std::perror(path.c_str());
        return -1;
    }
    return fd;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc >= 2 ? argv[1] : "";
    const bool whole = argc == 4 && (mode == "rewrite" || mode == "journal" || mode == "replace");
    if (!whole && !(argc == 3 && mode == "write")) {
        std::fprintf(stderr, "usage: bench_floor write FILE | bench_floor rewrite|journal|replace FILE BYTES\n");
        return 2;
    }
    const long long bytes = whole ? std::atoll(argv[3]) : 100;
    if (bytes < 1) {
        std::fprintf(stderr, "bench_floor: BYTES must be positive\n");
        return 2;
    }
    const std::string path = argv[2];
    std::vector<char> data(size_t(bytes), 'f');
    if (mode == "replace") {
        const std::string beside = path + "-new";
        const int fd = writeNew(beside, data);
        if (fd < 0 || rename(beside.c_str(), path.c_str()) != 0 || !syncFolderOf(path))
            return 1;
        close(fd);
        return 0;
    }
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        std::perror(path.c_str());
        return 1;
    }
    const std::string journal = path + "-journal";
    if (mode == "journal") {
        const int j = writeNew(journal, data);
        if (j < 0 || !syncFolderOf(path))
            return 1;
        close(j);
    }
    if (!writeAll(fd, data))
        return 1;
    if (fsync(fd) != 0) {
        std::perror("fsync");
        return 1;
    }
    close(fd);
    if (mode == "journal" && (unlink(journal.c_str()) != 0 || !syncFolderOf(path)))
        return 1;
    return 0;
}
