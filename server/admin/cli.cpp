#include "admin/cli.h"

#include "admin/backup.h"
#include "admin/commands.h"
#include "admin/control_channel.h"
#include "core/clock.h"
#include "core/password.h"
#include "options.h"
#include "protocol/names.h"
#include "store/open_store.h"

#include <CLI/CLI.hpp>

#include <termios.h>
#include <unistd.h>

#include <array>
#include <iostream>

namespace velmora::server::admin {

namespace {
constexpr std::array<std::string_view, 9> kCommands = {
    "user", "useradd", "sessions", "kick", "ban", "unban", "bans", "rooms", "backup"};

bool isOwnFlag(const std::string& arg) {
    for (const std::string_view flag : {"--for", "--reason", "--help"}) {
        if (arg == flag || arg.starts_with(std::string(flag) + "=")) {
            return true;
        }
    }
    return arg == "-h";
}

// A password not given on the command line: one line of standard input,
// not echoed on a terminal.
std::string readPassword() {
    const bool terminal = ::isatty(STDIN_FILENO) != 0;
    termios saved{};
    if (terminal) {
        std::cerr << "New password: " << std::flush;
        ::tcgetattr(STDIN_FILENO, &saved);
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::string password;
    std::getline(std::cin, password);
    if (terminal) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::cerr << "\n";
    }
    return password;
}

struct Typed {
    std::string name, password, pattern, target, reason, duration, file;
};
} // namespace

bool isAdminCommand(std::string_view word) {
    for (const auto command : kCommands) {
        if (word == command) {
            return true;
        }
    }
    return false;
}

int runCli(std::vector<std::string> args) {
    if (!args.empty() && args[0] == "useradd") {
        args[0] = "add";
        args.insert(args.begin(), "user");
    }
    // The server's own flags (--db, --config, --control, --hash-cost …) may
    // follow any command, as they follow "useradd".
    std::vector<std::string> own{"velmorad"};
    std::vector<std::string> serverFlags;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i].starts_with("--") && !isOwnFlag(args[i])) {
            serverFlags.push_back(args[i]);
            if (i + 1 < args.size()) {
                serverFlags.push_back(args[++i]);
            }
        } else {
            own.push_back(args[i]);
        }
    }

    CLI::App app{"The operator's commands of velmorad. Server flags such as --db, --config and "
                 "--control may follow any command.",
                 "velmorad"};
    app.require_subcommand(1);
    Typed t;
    std::vector<std::string> request;
    const auto command = [&](CLI::App* parent, const char* name, const char* what) {
        auto* sub = parent->add_subcommand(name, what);
        sub->callback([&request, sub, parent, &app] {
            request = parent == &app
                          ? std::vector<std::string>{sub->get_name()}
                          : std::vector<std::string>{parent->get_name(), sub->get_name()};
        });
        return sub;
    };
    auto* user = app.add_subcommand("user", "accounts");
    user->require_subcommand(1);
    auto* add = command(user, "add", "create an account");
    add->add_option("NAME", t.name)->required();
    add->add_option("PASSWORD", t.password)->required();
    auto* passwd = command(user, "passwd", "set a new password (read from stdin when not given)");
    passwd->add_option("NAME", t.name)->required();
    passwd->add_option("PASSWORD", t.password);
    for (const char* name : {"del", "disable", "enable", "show"}) {
        command(user, name,
                name == std::string("del")       ? "delete an account, its buddies and messages"
                : name == std::string("disable") ? "keep an account from logging in"
                : name == std::string("enable")  ? "let a disabled account log in again"
                                                 : "an account's details")
            ->add_option("NAME", t.name)
            ->required();
    }
    command(user, "list", "accounts whose name contains PATTERN")->add_option("PATTERN", t.pattern);
    command(&app, "sessions", "who is logged in: user, address, since, TLS");
    command(&app, "rooms", "rooms: name, members, count");
    command(&app, "bans", "bans in force: target, until, reason, set");
    auto* kick = command(&app, "kick", "end a user's session");
    kick->add_option("NAME", t.name)->required();
    kick->add_option("--reason", t.reason, "told to the user first");
    auto* ban = command(&app, "ban", "keep a user or an address (IPv4, IPv6 /64) out");
    ban->add_option("TARGET", t.target)->required();
    ban->add_option("--for", t.duration, "30m, 12h, 7d …; for ever when not given");
    ban->add_option("--reason", t.reason);
    command(&app, "unban", "lift a ban")->add_option("TARGET", t.target)->required();
    command(&app, "backup", "copy a SQLite store, running or not")
        ->add_option("FILE", t.file)
        ->required();

    std::vector<const char*> argv;
    for (const auto& arg : own) {
        argv.push_back(arg.c_str());
    }
    try {
        app.parse(static_cast<int>(argv.size()), argv.data());
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return 0;
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) {
            std::cout << app.help();
            return 0;
        }
        std::cerr << "velmorad: " << e.what() << "\n(velmorad " << (own.size() > 1 ? own[1] : "")
                  << " --help)\n";
        return 2;
    }
    const Options options = parseOptions(serverFlags);

    const std::string& verb = request.front();
    if (verb == "backup") {
        if (options.db.find("://") != std::string::npos) {
            std::cerr
                << "velmorad: backup copies a SQLite store; back up PostgreSQL with pg_dump\n";
            return 1;
        }
        const int pages = backupSqlite(options.db, t.file);
        std::cout << "backed up " << options.db << " to " << t.file << " (" << pages << " pages)\n";
        return 0;
    }
    if (request.size() == 2 && (request[1] == "add" || request[1] == "passwd")) {
        if (request[1] == "passwd" && t.password.empty()) {
            t.password = readPassword();
        }
        if (!protocol::isAcceptablePassword(t.password)) {
            std::cerr << "velmorad: the password needs 5 or more characters and no \":\"\n";
            return 1;
        }
        request.push_back(t.name);
        request.push_back(core::PasswordHasher(options.core.hashCost).hash(t.password));
    } else if (verb == "user") {
        if (request[1] != "list" || !t.pattern.empty()) {
            request.push_back(request[1] == "list" ? t.pattern : t.name);
        }
    } else if (verb == "kick") {
        request.insert(request.end(), {t.name, t.reason});
    } else if (verb == "ban") {
        const auto duration =
            t.duration.empty() ? std::chrono::seconds(0) : core::parseDuration(t.duration);
        if (!duration) {
            std::cerr << "velmorad: --for needs a duration such as 30m, 12h or 7d\n";
            return 2;
        }
        request.insert(request.end(), {t.target, std::to_string(duration->count()), t.reason});
    } else if (verb == "unban") {
        request.push_back(t.target);
    }

    const std::string path = controlPath(options.control, options.db);
    std::optional<Reply> reply;
    if (options.control != "off") {
        reply = ask(path, request);
    }
    if (!reply) {
        if (!worksOffline(request)) {
            std::cerr << "velmorad: no server answers on the control socket " << path << "\n";
            return 1;
        }
        // The server is stopped: the database itself.
        const auto store = store::openStore(options.db);
        core::Effects unused;
        reply = execute(request, {*store, options.core, nullptr}, unused);
        if (reply->status == 0) {
            store->commit();
        }
    }
    (reply->status == 0 ? std::cout : std::cerr) << reply->text;
    return reply->status;
}

} // namespace velmora::server::admin
