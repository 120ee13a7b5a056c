#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/SimConfig.h"

namespace VekSim {

/// The user signed on, and the accounts the session sees and trades.
struct SimLogin {
  std::string user;
  std::vector<std::string> accounts;
  bool Sees(std::string_view account) const;
};

/// Users, passwords and accounts. The identity of a sign-on is "USER/ACCOUNT": the first id names the user;
/// the second is empty, repeats the user, or narrows the session to one of the user's accounts.
class SimUsers {
 public:
  explicit SimUsers(const SimConfig& config) : users_(config.users), anyone_(config.acceptAnyone) {}

  std::optional<SimLogin> SignOn(std::string_view identity, std::string_view password) const;
  /// Empty if the password was changed, otherwise the reason (UTF-8).
  std::string ChangePassword(std::string_view user, std::string_view oldPass, std::string_view newPass);

 private:
  std::vector<SimUser> users_;
  bool anyone_;
};

}  // namespace VekSim
