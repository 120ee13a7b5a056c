#include "sim/SimUsers.h"

#include <algorithm>

namespace VekSim {

namespace {

template <class Users>
auto Find(Users& users, std::string_view id) {
  return std::find_if(users.begin(), users.end(), [&](const SimUser& user) { return user.id == id; });
}

}  // namespace

bool SimLogin::Sees(std::string_view account) const {
  return std::find(accounts.begin(), accounts.end(), account) != accounts.end();
}

std::optional<SimLogin> SimUsers::SignOn(std::string_view identity, std::string_view password) const {
  const std::size_t slash = std::min(identity.find('/'), identity.size());
  const std::string_view user = identity.substr(0, slash);
  const std::string_view account = identity.substr(std::min(slash + 1, identity.size()));
  const auto found = Find(users_, user);
  if (found == users_.end()) {
    return anyone_ ? std::optional(SimLogin{std::string(user), {"9800001"}}) : std::nullopt;
  }
  SimLogin login{found->id, found->accounts};
  if (anyone_) return login;
  if (found->password != password) return {};
  if (account.empty() || account == user) return login;
  if (!login.Sees(account)) return {};
  login.accounts = {std::string(account)};
  return login;
}

std::string SimUsers::ChangePassword(std::string_view user, std::string_view oldPass,
                                     std::string_view newPass) {
  const auto found = Find(users_, user);
  if (found == users_.end()) return "無此使用者代號";
  if (found->password != oldPass) return "舊密碼錯誤";
  if (newPass.empty()) return "新密碼不可空白";
  found->password = newPass;
  return {};
}

}  // namespace VekSim
