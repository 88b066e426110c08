#pragma once

#include "app/ActionBase.h"

// Power control of the disk under test ("pwr").
class ActionPowerSwitch : public ActionBase {
public:
    std::string name() const override { return "pwr"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;
};

// Read/write/compare workloads by LBA ("rw").
class ActionRw : public ActionBase {
public:
    std::string name() const override { return "rw"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;
};

// Raw ATA, SCSI and NVMe commands and dumps ("cmd").
class ActionCommand : public ActionBase {
public:
    std::string name() const override { return "cmd"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;
};

// Workload file analysis and replay ("wkld").
class ActionWorkload : public ActionBase {
public:
    std::string name() const override { return "wkld"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;
};

// SMART and NVMe log-page checks against INI limits ("smart").
class ActionSmart : public ActionBase {
public:
    std::string name() const override { return "smart"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;
};
