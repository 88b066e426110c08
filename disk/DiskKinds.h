#pragma once

#include "disk/DiskBase.h"

namespace zel {

// The disk classes the list build creates, one per classification row.
class SataSsd : public DiskBase {
public:
    using DiskBase::DiskBase;
};

class NvmeSsd : public DiskBase {
public:
    using DiskBase::DiskBase;
};

class Ufd : public DiskBase {
public:
    using DiskBase::DiskBase;
};

// Power-switch boards show up as USB disks; the power layer drives them
// through their SCSI route.
class SataPowerSwitchBoard : public DiskBase {
public:
    using DiskBase::DiskBase;
};

class PciePowerSwitchBoard : public DiskBase {
public:
    using DiskBase::DiskBase;
};

// An NVMe SSD behind the JMicron USB bridge.
class JMicronS583 : public DiskBase {
public:
    using DiskBase::DiskBase;
};

}  // namespace zel
