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
  Outcome Send(const InfoCall& call);
  Outcome Send(const ListCall& call);
  Outcome Send(const CreateCall& call);
  Outcome Send(const ConfigCall& call);
  Outcome Send(const ControlCall& call);
  Outcome Send(const SetCall& call);
  Outcome Send(const GetCall& call);
  Outcome Send(const StatusCall& call);
  Outcome Send(const BlobSetCall& call);
  Outcome Send(const BlobGetCall& call);

  /// Algorithm ids are translated by the list of algorithms, which is fetched once.
  [[nodiscard]] ZorResult PrepareTranslation(std::string_view parameter, bool no_list);

  std::optional<std::uint32_t> last_handle_;
  bool listed_ = false;
  ZorNameList list_{};  ///< its contents are the library's, which frees them with the next list
};

}  // namespace zor::ctl
