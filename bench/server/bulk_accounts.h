// Accounts for a load run, made in bulk: one transaction through the
// server's own store, one cheap hash shared by every account.
#pragma once

#include <filesystem>
#include <string>

namespace velmora::bench {

constexpr const char* kLoadPassword = "loadpw1";
constexpr const char* kPopularUser = "buddyhub";

// The name of load user k: "mu0000000" and up.
std::string loadUserName(int k);

// Users 0 .. count-1 and the popular user, whose name users first ..
// first+watchers-1 hold in their buddy lists. The seconds it took.
double createAccounts(const std::filesystem::path& db, int count, int first, int watchers);

} // namespace velmora::bench
