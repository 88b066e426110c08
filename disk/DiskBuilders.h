#pragma once

#include <memory>

#include "disk/DiskBase.h"

namespace zel {

class IDiskBuilder {
public:
    virtual ~IDiskBuilder() = default;
    virtual std::unique_ptr<DiskBase> build(const DiskIdentity& identity) const = 0;
};

class DiskBaseBuilder : public IDiskBuilder {
public:
    std::unique_ptr<DiskBase> build(const DiskIdentity& identity) const override;
};

class NvmeSsdBuilder : public IDiskBuilder {
public:
    std::unique_ptr<DiskBase> build(const DiskIdentity& identity) const override;
};

// The builder of a disk kind code (plain DiskBase for unknown kinds).
const IDiskBuilder& builderForKind(int kind);

}  // namespace zel
