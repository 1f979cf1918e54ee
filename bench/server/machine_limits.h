// The machine's limits a load run of N connections needs: descriptors (both
// the generator and the server it starts hold one per connection), the
// accept backlog and the local port range. As root it raises what falls
// short and puts every sysctl back when done; otherwise it says what to
// raise.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace velmora::bench {

class MachineLimits {
public:
    // Throws std::runtime_error when a limit is short and cannot be raised.
    explicit MachineLimits(int conns);
    ~MachineLimits();
    MachineLimits(const MachineLimits&) = delete;
    MachineLimits& operator=(const MachineLimits&) = delete;

    // How many connections one source address can make to one port.
    static int portsPerAddress();

private:
    void atLeast(const std::string& key, long wanted);
    void change(const std::string& key, const std::string& value);
    // Puts back every sysctl changed.
    void restore();

    bool root_;
    bool short_ = false;
    std::vector<std::pair<std::string, std::string>> saved_; // sysctl, old value
};

} // namespace velmora::bench
