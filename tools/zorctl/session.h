/// Making calls of the library, one after the other, as an application makes them.
#pragma once

#include <cstdint>
#include <optional>

#include "interface/zor_interface.h"
#include "tools/zorctl/command.h"
#include "tools/zorctl/outcome.h"

namespace zor::ctl {

/// The library must stay loaded as long as the object lives.
class Session {
 public:
  Session() = default;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] Outcome Make(const Call& call);

  /// The handle of the last instance that was created.
  [[nodiscard]] std::optional<std::uint32_t> last_handle() const noexcept { return last_handle_; }

 private:
  Outcome Make(const InfoCall& call);
  Outcome Make(const ListCall& call);
  Outcome Make(const CreateCall& call);
  Outcome Make(const ConfigCall& call);
  Outcome Make(const ControlCall& call);
  Outcome Make(const SetCall& call);
  Outcome Make(const GetCall& call);
  Outcome Make(const StatusCall& call);
  Outcome Make(const BlobSetCall& call);
  Outcome Make(const BlobGetCall& call);

  /// Algorithm ids are translated by the list of algorithms, which is fetched once.
  [[nodiscard]] ZorResult PrepareTranslation(std::string_view parameter, bool no_list);

  std::optional<std::uint32_t> last_handle_;
  bool listed_ = false;
  ZorNameList list_{};  ///< its contents are the library's, which frees them with the next list
};

}  // namespace zor::ctl
