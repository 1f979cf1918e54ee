// The machine's limits a load run of N connections needs: descriptors (both
// the generator and the server it starts hold one per connection) and the
// accept backlog. The local port range needs no raising: every connection
// comes from a loopback address of its own. As root it raises what falls
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
