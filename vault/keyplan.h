#ifndef VAULTIX_VAULT_KEYPLAN_H
#define VAULTIX_VAULT_KEYPLAN_H

#include <cstdint>

// Where everything lives in the data file. A marker is a one-byte record
// holding 0; a load finds the first key of its range by seeking the marker.
namespace KeyPlan {
// The record file's signature: a file without it is not ours.
constexpr const char* Signature = "Vaultix0001";
constexpr int32_t Settings = 0;
constexpr int32_t CategoryMarker = 100;
constexpr int32_t FirstCategory = 101;  // category id + 101
constexpr int32_t LastCategory = 999;
constexpr int32_t RecordMarker = 1000;  // records take the smallest free key above
constexpr int32_t MaxCategoryId = RecordMarker - FirstCategory - 1; // 898

constexpr int32_t CategoryKey(int id) { return FirstCategory + id; }
} // namespace KeyPlan

#endif
