// The operator's commands against the real velmorad, running and stopped,
// with what the users they touch see on the wire.
#include "loopback.h"
#include "postgres_cluster.h"

#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <thread>

namespace velmora::test {

namespace {
struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

bool logsIn(unsigned short port, const std::string& name, const std::string& password = "secret",
            const char* from = nullptr) {
    WireClient client(port, 0, from);
    client.send(" ## cmdLI /:/ " + name + " /:/ " + password + " /:/ 1.4");
    (void)client.readThrough(" ## +LI /$/ Login=");
    return client.readExactly(4) == "True";
}

std::int64_t count(const std::string& db, const char* sql) {
    sqlite3* handle = nullptr;
    sqlite3_open_v2(db.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* query = nullptr;
    sqlite3_prepare_v2(handle, sql, -1, &query, nullptr);
    const std::int64_t n = sqlite3_step(query) == SQLITE_ROW ? sqlite3_column_int64(query, 0) : -1;
    sqlite3_finalize(query);
    sqlite3_close(handle);
    return n;
}
} // namespace

class AdminTest : public LoopbackTest {
protected:
    Result admin(std::vector<std::string> args) {
        args.insert(args.end(), {"--db", db, "--hash-cost", "fast"});
        const std::string out = dir.file("out"), err = dir.file("err");
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        Result r;
        r.status = waitFor(spawn(args, o, e));
        close(o);
        close(e);
        r.out = slurp(out);
        r.err = slurp(err);
        return r;
    }
    std::string control = db + ".ctl";
};

TEST_F(AdminTest, KickAndBanEndSessionsAndKeepLoginsOut) {
    addUser("alicia");
    addUser("bobby");
    start();
    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby ## cmdCO /:/ alicia /:/ lobby");
    bobby.send(" ## cmdAB /:/ bobby /:/ alicia");
    (void)alicia.sync();
    (void)bobby.sync();
    EXPECT_EQ(admin({"rooms"}).out, "lobby\talicia\t1\n");
    const Result sessions = admin({"sessions"});
    EXPECT_NE(sessions.out.find("alicia\t127.0.0.1\t"), std::string::npos);
    EXPECT_TRUE(sessions.out.ends_with("\tno\n"));

    EXPECT_EQ(admin({"kick", "alicia", "--reason", "spamming"}).out, "kicked alicia\n");
    EXPECT_EQ(alicia.readThrough(" /$/ 10 /$/ "),
              " ## +PM /$/ IM Server /$/ You%%were%%kicked%%by%%the%%operator:%%spamming"
              " /$/ MS Sans Serif /$/ 10 /$/ ");
    EXPECT_TRUE(alicia.closedByServer());
    EXPECT_EQ(bobby.sync(), " ## +LOff /$/ alicia");
    const Result nobody = admin({"kick", "alicia"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_EQ(nobody.err, "velmorad: alicia is not logged in on this server\n");

    WireClient back(port);
    back.login("alicia");
    EXPECT_EQ(bobby.sync(), " ## +LOn /$/ alicia");
    EXPECT_EQ(admin({"ban", "BOBBY"}).out, "banned bobby for ever, 1 session(s) ended\n");
    EXPECT_TRUE(bobby.closedByServer());
    EXPECT_EQ(back.sync(), " ## +LOff /$/ bobby");
    EXPECT_FALSE(logsIn(port, "bobby"));
    EXPECT_NE(log().find("login refused: bobby is banned for ever"), std::string::npos);

    // An address ban that ends: other addresses are not touched.
    EXPECT_EQ(admin({"ban", "127.0.0.2", "--for", "2s", "--reason", "flood"}).status, 0);
    EXPECT_FALSE(logsIn(port, "alicia", "secret", "127.0.0.2"));
    EXPECT_NE(log().find("login refused: address 127.0.0.2 is banned until"), std::string::npos);
    const Result bans = admin({"bans"});
    EXPECT_NE(bans.out.find("bobby\tforever\t\t"), std::string::npos) << bans.out;
    EXPECT_NE(bans.out.find("127.0.0.2\t"), std::string::npos);
    EXPECT_NE(bans.out.find("\tflood\t"), std::string::npos);
    bool in = false;
    for (int i = 0; i < 40 && !in; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        in = logsIn(port, "alicia", "secret", "127.0.0.2");
    }
    EXPECT_TRUE(in);
    EXPECT_EQ(admin({"unban", "bobby"}).out, "unbanned bobby\n");
    EXPECT_TRUE(logsIn(port, "bobby"));
    EXPECT_EQ(admin({"unban", "bobby"}).status, 1);
    EXPECT_EQ(admin({"ban", "no-such-user"}).status, 1);
    EXPECT_EQ(admin({"ban", "bobby", "--for", "soon"}).status, 2);
}

TEST_F(AdminTest, AccountCommandsOnARunningServer) {
    addUser("alicia");
    addUser("bobby");
    start();
    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    bobby.send(" ## cmdAB /:/ bobby /:/ alicia");
    (void)bobby.sync();

    EXPECT_EQ(admin({"user", "add", "carol1", "secret"}).out, "added carol1\n");
    EXPECT_EQ(admin({"user", "add", "CAROL1", "secret"}).status, 1);
    EXPECT_EQ(admin({"user", "disable", "alicia"}).out, "disabled alicia\n");
    EXPECT_TRUE(alicia.closedByServer());
    EXPECT_EQ(bobby.sync(), " ## +LOff /$/ alicia");
    EXPECT_FALSE(logsIn(port, "alicia"));
    EXPECT_NE(log().find("login refused: alicia is disabled"), std::string::npos);
    EXPECT_TRUE(admin({"user", "list", "LIC"}).out.ends_with("\tdisabled\n"));
    EXPECT_EQ(admin({"user", "enable", "alicia"}).out, "enabled alicia\n");

    // A new password ends the session that the old one opened.
    EXPECT_EQ(admin({"user", "passwd", "bobby", "n3w-secret"}).out, "password of bobby changed\n");
    EXPECT_TRUE(bobby.closedByServer());
    EXPECT_FALSE(logsIn(port, "bobby"));
    EXPECT_TRUE(logsIn(port, "bobby", "n3w-secret"));

    WireClient watcher(port);
    watcher.send(" ## cmdLI /:/ bobby /:/ n3w-secret /:/ 1.4");
    (void)watcher.readThrough(" ## +BL /$/ f %/ alicia");
    WireClient again(port);
    again.login("alicia");
    EXPECT_EQ(watcher.sync(), " ## +LOn /$/ alicia");
    const Result shown = admin({"user", "show", "alicia"});
    EXPECT_NE(shown.out.find("\ndisabled\tno\nbanned\tno\nbuddies\t0\nwaiting\t0\nonline\tyes\n"),
              std::string::npos)
        << shown.out;
    EXPECT_EQ(admin({"user", "del", "alicia"}).out, "deleted alicia\n");
    EXPECT_TRUE(again.closedByServer());
    EXPECT_EQ(watcher.sync(), " ## +LOff /$/ alicia");
    WireClient newcomer(port);
    newcomer.send(" ## cmdRA /:/ alicia /:/ secret /:/ 1.4");
    EXPECT_EQ(newcomer.readThrough(" ## +RU /$/ UE"), " ## +RU /$/ UE");
    EXPECT_EQ(admin({"user", "add", "alicia", "secret"}).status, 1);
    EXPECT_EQ(admin({"user", "list"}).out.find("alicia"), std::string::npos);
}

TEST_F(AdminTest, AccountCommandsOnAStoppedServersDatabase) {
    addUser("alicia");
    addUser("bobby");
    start();
    WireClient bobby(port);
    bobby.login("bobby");
    bobby.send(
        " ## cmdAB /:/ bobby /:/ alicia ## cmdPM /:/ bobby /:/ alicia /:/ hi /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(bobby.sync(), " ## +BL /$/ f %/ alicia ## +UNO /$/ alicia");
    EXPECT_EQ(stop(), 0);

    EXPECT_EQ(admin({"user", "del", "alicia"}).out, "deleted alicia\n");
    EXPECT_EQ(admin({"user", "passwd", "bobby", "n3w-secret"}).status, 0);
    EXPECT_EQ(admin({"sessions"}).status, 1);
    EXPECT_EQ(count(db, "SELECT count(*) FROM offline"), 0);
    EXPECT_EQ(count(db, "SELECT count(*) FROM buddies"), 0);
    EXPECT_EQ(count(db, "SELECT count(*) FROM retired WHERE name = 'alicia'"), 1);

    start();
    EXPECT_FALSE(logsIn(port, "bobby"));
    WireClient again(port);
    again.send(" ## cmdLI /:/ bobby /:/ n3w-secret /:/ 1.4");
    EXPECT_EQ(again.readThrough(" ## +BL /$/ ").substr(0, 22), " ## +LI /$/ Login=True");
}

TEST_F(AdminTest, ControlSocketRefusesStrangersAndGarbage) {
    addUser("alicia");
    start();
    struct stat info {};
    ASSERT_EQ(stat(control.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);

    const auto connectAndSend = [&](const std::string& bytes) {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", control.c_str());
        if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            close(fd);
            return std::string("refused");
        }
        (void)::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        shutdown(fd, SHUT_WR);
        std::string answer;
        char chunk[512];
        for (ssize_t n; (n = recv(fd, chunk, sizeof chunk, 0)) > 0;) {
            answer.append(chunk, static_cast<std::size_t>(n));
        }
        close(fd);
        return answer;
    };
    EXPECT_EQ(connectAndSend(std::string(5000, 'x')),
              "2velmorad: the server could not read that request\n");
    EXPECT_EQ(connectAndSend("user\0list"), "2velmorad: the server could not read that request\n");
    EXPECT_EQ(connectAndSend(std::string("bans\0", 5)), "0");

    if (getuid() != 0) {
        GTEST_SKIP() << "not root: cannot try the socket as another user";
    }
    // Another user: kept out by the mode, and, were the mode wrong, by the server.
    const auto asNobody = [&] {
        const pid_t child = fork();
        if (child == 0) {
            _exit(setgid(65534) == 0 && setuid(65534) == 0
                      ? (connectAndSend(std::string("bans\0", 5)) == "refused" ? 10 : 20)
                      : 30);
        }
        return waitFor(child);
    };
    EXPECT_EQ(asNobody(), 10);
    chmod(dir.path().c_str(), 0711);
    chmod(control.c_str(), 0666);
    EXPECT_EQ(asNobody(), 20);
    EXPECT_NE(log().find("control socket: connection of uid 65534 refused"), std::string::npos);
    EXPECT_EQ(admin({"user", "list"}).out.substr(0, 7), "alicia\t");
}

TEST_F(AdminTest, BackupOfARunningServerWhileMessagesAreStored) {
    addUser("alicia");
    addUser("bobby");
    start({"--commands-per-second", "0", "--max-offline-per-user", "100000"});
    WireClient alicia(port);
    alicia.login("alicia");
    constexpr int kMessages = 2000;
    std::thread writer([&] {
        for (int i = 0; i < kMessages; ++i) {
            alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ m" + std::to_string(i) +
                        " /:/ A /:/ 9 /:/ ");
        }
    });
    // Once some are stored, while the rest are on their way.
    (void)alicia.readThrough(" ## +UNO /$/ bobby");
    const std::string copy = dir.file("copy.db");
    const Result backup = admin({"backup", copy});
    writer.join();
    (void)alicia.sync();
    EXPECT_EQ(backup.status, 0) << backup.err;
    EXPECT_TRUE(backup.out.starts_with("backed up " + db + " to " + copy)) << backup.out;
    const auto copied = count(copy, "SELECT count(*) FROM offline");
    EXPECT_GT(copied, 0);
    EXPECT_LE(copied, kMessages);
    EXPECT_EQ(count(copy, "SELECT count(*) FROM users"), 2);
    // The copy is a database in its own right: its messages are numbered
    // without gaps, as they were stored.
    EXPECT_EQ(count(copy, "SELECT max(id) - min(id) + 1 FROM offline"), copied);
    EXPECT_EQ(count(db, "SELECT count(*) FROM offline"), kMessages);
}

TEST_F(AdminTest, OnPostgresBansDisabledAccountsAndRetiredNamesHold) {
    auto& cluster = PostgresCluster::get();
    if (!cluster.running()) {
        GTEST_SKIP() << PostgresCluster::kMissing;
    }
    db = cluster.newDatabase();
    addUser("alicia");
    addUser("bobby");
    addUser("carol1");
    EXPECT_EQ(admin({"user", "del", "alicia"}).out, "deleted alicia\n");
    EXPECT_EQ(admin({"ban", "Bobby", "--reason", "spam"}).out, "banned bobby for ever\n");
    EXPECT_EQ(admin({"user", "disable", "carol1"}).status, 0);
    EXPECT_EQ(admin({"user", "list"}).out.substr(0, 7), "bobby\t2");
    const std::string control = dir.file("pg.ctl");
    start({"--control", control});
    EXPECT_FALSE(logsIn(port, "bobby"));
    EXPECT_FALSE(logsIn(port, "carol1"));
    WireClient newcomer(port);
    newcomer.send(" ## cmdRA /:/ ALICIA /:/ secret /:/ 1.4");
    EXPECT_EQ(newcomer.readThrough(" ## +RU /$/ UE"), " ## +RU /$/ UE");
    EXPECT_TRUE(admin({"bans", "--control", control}).out.starts_with("bobby\tforever\tspam\t"));
    EXPECT_EQ(admin({"unban", "BOBBY", "--control", control}).out, "unbanned BOBBY\n");
    EXPECT_EQ(admin({"user", "enable", "carol1", "--control", control}).status, 0);
    EXPECT_TRUE(logsIn(port, "bobby"));
    EXPECT_TRUE(logsIn(port, "carol1"));
}

} // namespace velmora::test
