// SPDX-License-Identifier: MIT
#include "W/WContentProvider.h"

namespace W {

namespace {

constexpr UINT32 FNV_OFFSET = 2166136261u;
constexpr UINT32 FNV_PRIME = 16777619u;

constexpr UINT32 mix(UINT32 hash, unsigned char byte) { return (hash ^ byte) * FNV_PRIME; }

/// FNV-1a over the name and then the service type in little-endian order: the same number on every machine.
UINT32 stableID(const STRING& name, UINT32 type)
{
    UINT32 hash = FNV_OFFSET;
    for (const char c : name)
        hash = mix(hash, static_cast<unsigned char>(c));
    for (int shift = 0; shift < 32; shift += 8)
        hash = mix(hash, static_cast<unsigned char>(type >> shift));
    // 0 belongs to "no provider".
    return hash != 0 ? hash : FNV_OFFSET;
}

} // namespace

WContentProvider::WContentProvider(const STRING& name, ServiceType type) : m_name(name), m_type(type), m_id(stableID(name, type)) {}

} // namespace W
