/// Facts on their way from the process that has seen them to the one that reports them.
#pragma once

#include "tools/zorctl/doctor/facts.h"
#include "tools/zorctl/doctor/machine.h"
#include "tools/zorctl/report.h"

namespace zor::ctl {

[[nodiscard]] Json ToJson(const ImageFacts& facts);
[[nodiscard]] Json ToJson(const LibraryFacts& facts);
[[nodiscard]] Json ToJson(const PipeFacts& facts);
[[nodiscard]] Json ToJson(const ExchangeFacts& facts);
[[nodiscard]] Json ToJson(const CallFacts& facts);
[[nodiscard]] Json ToJson(const DriverFacts& facts);
[[nodiscard]] Json ToJson(const StoreSearch& search);
[[nodiscard]] Json ToJson(const PackageContents& contents);
[[nodiscard]] Json ToJson(const AlgorithmLibraryFacts& facts);

// A member that is missing, or of another type, leaves the record's own as it is.
void FromJson(const Json& json, ImageFacts& facts);
void FromJson(const Json& json, LibraryFacts& facts);
void FromJson(const Json& json, PipeFacts& facts);
void FromJson(const Json& json, ExchangeFacts& facts);
void FromJson(const Json& json, CallFacts& facts);
void FromJson(const Json& json, DriverFacts& facts);
void FromJson(const Json& json, StoreSearch& search);
void FromJson(const Json& json, PackageContents& contents);
void FromJson(const Json& json, AlgorithmLibraryFacts& facts);

}  // namespace zor::ctl
