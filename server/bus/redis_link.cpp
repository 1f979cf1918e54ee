#include "bus/redis_link.h"

#include <charconv>

namespace velmora::server::bus {

BusAddress parseBusAddress(const std::string& url) {
    BusAddress address;
    if (url.starts_with("unix:///")) {
        address.socket = url.substr(7);
        return address;
    }
    if (!url.starts_with("redis://") || url.size() == 8) {
        throw BusError("the bus needs redis://HOST:PORT or unix:///PATH, not \"" + url + "\"");
    }
    std::string rest = url.substr(8);
    if (rest.ends_with("/")) {
        rest.pop_back();
    }
    const auto colon = rest.rfind(':');
    address.host = rest.substr(0, colon);
    if (colon != std::string::npos) {
        const std::string port = rest.substr(colon + 1);
        const auto [end, ec] =
            std::from_chars(port.data(), port.data() + port.size(), address.port);
        if (ec != std::errc() || end != port.data() + port.size() || address.port < 1 ||
            address.port > 65535 || address.host.empty()) {
            throw BusError("the bus address \"" + url + "\" has no valid port");
        }
    }
    return address;
}

std::string_view text(const redisReply* reply) {
    if (reply && (reply->type == REDIS_REPLY_STRING || reply->type == REDIS_REPLY_STATUS)) {
        return {reply->str, reply->len};
    }
    return {};
}

RedisLink::RedisLink(BusAddress address, std::chrono::milliseconds timeout)
    : address_(std::move(address)), timeout_(timeout) {}

RedisLink::~RedisLink() {
    close();
}

std::string RedisLink::describe() const {
    return address_.socket.empty() ? address_.host + ":" + std::to_string(address_.port)
                                   : address_.socket;
}

void RedisLink::close() {
    loaded_.clear();
    if (context_) {
        redisFree(context_);
        context_ = nullptr;
    }
}

void RedisLink::reconnect() {
    close();
    const auto ms = timeout_.count();
    const timeval tv{static_cast<time_t>(ms / 1000), static_cast<suseconds_t>(ms % 1000 * 1000)};
    redisContext* c = address_.socket.empty()
                          ? redisConnectWithTimeout(address_.host.c_str(), address_.port, tv)
                          : redisConnectUnixWithTimeout(address_.socket.c_str(), tv);
    if (!c || c->err) {
        const std::string why = c ? c->errstr : "out of memory";
        if (c) {
            redisFree(c);
        }
        throw BusError("Redis at " + describe() + ": " + why);
    }
    redisSetTimeout(c, tv);
    context_ = c;
}

void RedisLink::fail(const std::string& what) {
    const std::string why = context_ && context_->errstr[0] ? context_->errstr : "not connected";
    close();
    throw BusError("Redis at " + describe() + ": " + what + ": " + why);
}

std::vector<Reply> RedisLink::pipeline(const std::vector<Command>& commands) {
    if (!context_) {
        fail("link down");
    }
    std::vector<const char*> argv;
    std::vector<std::size_t> lengths;
    for (const auto& command : commands) {
        argv.clear();
        lengths.clear();
        for (const auto& arg : command) {
            argv.push_back(arg.data());
            lengths.push_back(arg.size());
        }
        if (redisAppendCommandArgv(context_, static_cast<int>(argv.size()), argv.data(),
                                   lengths.data()) != REDIS_OK) {
            fail("queueing a command");
        }
    }
    std::vector<Reply> replies;
    replies.reserve(commands.size());
    for (std::size_t i = 0; i < commands.size(); ++i) {
        void* reply = nullptr;
        if (redisGetReply(context_, &reply) != REDIS_OK || !reply) {
            fail("reading a reply");
        }
        replies.emplace_back(static_cast<redisReply*>(reply));
    }
    return replies;
}

Reply RedisLink::command(const Command& command) {
    auto reply = std::move(pipeline({command}).front());
    if (reply->type == REDIS_REPLY_ERROR) {
        throw BusError("Redis refused " + std::string(command.front()) + ": " +
                       std::string(reply->str, reply->len));
    }
    return reply;
}

} // namespace velmora::server::bus

namespace velmora::server::bus {

Reply RedisLink::script(std::string_view source, const Command& args) {
    auto digest = loaded_.find(source.data());
    if (digest == loaded_.end()) {
        const auto sha = command({"SCRIPT", "LOAD", source});
        digest = loaded_.emplace(source.data(), std::string(text(sha.get()))).first;
    }
    Command call{"EVALSHA", digest->second, "0"};
    call.insert(call.end(), args.begin(), args.end());
    return command(call);
}

} // namespace velmora::server::bus
