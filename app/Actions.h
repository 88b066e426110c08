#pragma once

#include "app/ActionBase.h"
#include "io/CmdJob.h"
#include "io/CmdRecord.h"
#include "io/RwRecord.h"
#include "io/WorkloadRecord.h"
#include "io/RwJob.h"
#include "io/WorkloadJob.h"
#include "power/PowerJob.h"
#include "power/PowerRunRecord.h"
#include "smart/SmartJob.h"
#include "smart/SmartRunRecord.h"

// Power control of the disk under test ("pwr").
class ActionPowerSwitch : public ActionBase {
public:
    std::string name() const override { return "pwr"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;

protected:
    zel::Json record() const override;

private:
    zel::PowerJob job_;
    zel::PowerRunRecord record_;
    bool ran_ = false;
};

// Read/write/compare workloads by LBA ("rw").
class ActionRw : public ActionBase {
public:
    std::string name() const override { return "rw"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;

protected:
    zel::Json record() const override;

private:
    zel::RwJob job_;
    zel::RwRunRecord record_;
    bool ran_ = false;
};

// Raw ATA, SCSI and NVMe commands and dumps ("cmd").
class ActionCommand : public ActionBase {
public:
    std::string name() const override { return "cmd"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;

protected:
    zel::Json record() const override;

private:
    zel::CmdJob job_;
    zel::CmdRunRecord record_;
    bool ran_ = false;
};

// Workload file analysis and replay ("wkld").
class ActionWorkload : public ActionBase {
public:
    std::string name() const override { return "wkld"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;

protected:
    zel::Json record() const override;

private:
    zel::WorkloadJob job_;
    zel::WorkloadRunRecord record_;
    bool ran_ = false;
};

// SMART and NVMe log-page checks against INI limits ("smart").
class ActionSmart : public ActionBase {
public:
    std::string name() const override { return "smart"; }
    bool init(const zel::ParseResult& options) override;
    zel::ErrorCode execute(const zel::ParseResult& options) override;

protected:
    zel::Json record() const override;

private:
    zel::SmartJob job_;
    zel::SmartRunRecord record_;
    bool ran_ = false;
};
