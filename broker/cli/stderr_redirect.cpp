#include "stderr_redirect.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>

namespace vcim {
namespace cli {

StderrRedirect::StderrRedirect(bool redirect, const std::string& file) {
    if (!redirect) return;
    int target = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (target < 0) target = open("/dev/null", O_WRONLY | O_CLOEXEC);
    savedFd_ = target < 0 ? -1 : fcntl(2, F_DUPFD_CLOEXEC, 3);
    if (savedFd_ < 0) {  // keep the terminal rather than lose the client's own messages
        if (target >= 0) close(target);
        return;
    }
    std::cerr.flush();
    std::fflush(stderr);
    dup2(target, 2);
    close(target);
    realFd_ = savedFd_;
    buf_.fd = savedFd_;
}

StderrRedirect::~StderrRedirect() {
    if (savedFd_ < 0) return;
    std::cerr.flush();
    std::fflush(stderr);
    dup2(savedFd_, 2);
    close(savedFd_);
}

StderrRedirect::FdBuf::int_type StderrRedirect::FdBuf::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    char ch = traits_type::to_char_type(c);
    return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
}

std::streamsize StderrRedirect::FdBuf::xsputn(const char* s, std::streamsize n) {
    std::streamsize done = 0;
    while (done < n) {
        ssize_t w = write(fd, s + done, static_cast<size_t>(n - done));
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) break;
        done += w;
    }
    return done;
}

}  // namespace cli
}  // namespace vcim
