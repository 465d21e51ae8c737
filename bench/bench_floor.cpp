// The least a change to the data file can cost on this machine, as a whole
// process, for the command benchmarks to be measured against:
//
//   bench_floor write FILE          one 100-byte pwrite and an fsync
//   bench_floor rewrite FILE BYTES  BYTES written whole from memory from the
//                                   start of FILE, in one pwrite, and an fsync
//
// FILE is made when missing; nothing else is done, so the process's start
// and end are part of the figure, as they are of a command's.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    const bool rewrite = argc == 4 && std::strcmp(argv[1], "rewrite") == 0;
    if (!rewrite && !(argc == 3 && std::strcmp(argv[1], "write") == 0)) {
        std::fprintf(stderr, "usage: bench_floor write FILE | bench_floor rewrite FILE BYTES\n");
        return 2;
    }
    const long long bytes = rewrite ? std::atoll(argv[3]) : 100;
    if (bytes < 1) {
        std::fprintf(stderr, "bench_floor: BYTES must be positive\n");
        return 2;
    }
    const int fd = open(argv[2], O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        std::perror(argv[2]);
        return 1;
    }
    std::vector<char> data(size_t(bytes), 'f');
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = pwrite(fd, data.data() + done, data.size() - done, off_t(done));
        if (n <= 0) {
            std::perror("pwrite");
            return 1;
        }
        done += size_t(n);
    }
    if (fsync(fd) != 0) {
        std::perror("fsync");
        return 1;
    }
    close(fd);
    return 0;
}
