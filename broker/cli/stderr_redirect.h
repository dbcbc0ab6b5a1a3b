// The provider prints some lines on standard error for an object manager to collect (the
// properties reload line, for one). veltra-cim keeps them off the terminal unless -v is
// given: standard error (fd 2) goes to a file below the root prefix while the provider is
// loaded and serves the request, and the client's own messages go to the real standard
// error through err().
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace vcim {
namespace cli {

// The provider's standard error without -v, below the root prefix (VELTRA_ROOT).
constexpr const char kProviderStderrFile[] = "/var/log/veltra-cim.stderr";

class StderrRedirect {
public:
    // With redirect set, fd 2 is moved to `file` (appended; /dev/null when it cannot be
    // opened) until destruction; otherwise nothing changes.
    StderrRedirect(bool redirect, const std::string& file);
    ~StderrRedirect();
    StderrRedirect(const StderrRedirect&) = delete;
    StderrRedirect& operator=(const StderrRedirect&) = delete;

    std::ostream& err() { return stream_; }  // the real standard error
    int errFd() const { return realFd_; }

private:
    // Unbuffered writes to a file descriptor.
    class FdBuf : public std::streambuf {
    public:
        int fd = 2;

    protected:
        int_type overflow(int_type c) override;
        std::streamsize xsputn(const char* s, std::streamsize n) override;
    };

    int savedFd_ = -1;  // the real fd 2 while redirected
    int realFd_ = 2;
    FdBuf buf_;
    std::ostream stream_{&buf_};
};

}  // namespace cli
}  // namespace vcim
