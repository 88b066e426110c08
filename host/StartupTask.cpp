#include "host/StartupTask.h"

#include <windows.h>
// The COM headers need the definitions of windows.h first.
#include <taskschd.h>
#include <wrl/client.h>

#include <cstdio>

#include "core/Logger.h"
#include "core/Uncopyable.h"
#include "host/LogonTrigger.h"

namespace zel {
namespace {

using Microsoft::WRL::ComPtr;

const wchar_t kLogonDelay[] = L"PT1S";
const wchar_t kAdministrators[] = L"S-1-5-32-544";

std::wstring wide(const std::string& text) {
    if (text.empty()) return std::wstring();
    const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring result(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), result.data(), length);
    return result;
}

// A BSTR for the length of one call.
class Bstr : private Uncopyable {
public:
    explicit Bstr(const std::wstring& text) : value_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    ~Bstr() { SysFreeString(value_); }
    operator BSTR() const { return value_; }

private:
    BSTR value_;
};

// A VARIANT that is empty or holds a BSTR, cleared on scope exit.
class Variant : private Uncopyable {
public:
    Variant() { VariantInit(&value_); }
    explicit Variant(const std::wstring& text) : Variant() {
        value_.vt = VT_BSTR;
        value_.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    }
    ~Variant() { VariantClear(&value_); }
    operator VARIANT() const { return value_; }

private:
    VARIANT value_;
};

// Every failure of the routine ends here: the message goes to standard
// output with the COM result.
bool report(const char* format, HRESULT result) {
    std::printf(format, static_cast<unsigned>(result));
    std::fflush(stdout);
    return false;
}

// Balances a successful CoInitializeEx on every exit path.
class ComSession : private Uncopyable {
public:
    ComSession() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~ComSession() {
        if (SUCCEEDED(result_)) CoUninitialize();
    }
    HRESULT result() const { return result_; }

private:
    HRESULT result_;
};

// One run of the Task Scheduler routine. Members are released in reverse
// order, so COM is uninitialised after the last interface is let go.
class StartupTask : private Uncopyable {
public:
    StartupTask(const std::string& name, const std::string& path, const std::string& arguments)
        : name_(wide(name)), path_(wide(path)), arguments_(wide(arguments)) {}

    bool run();

private:
    bool connect();
    bool describe();
    bool putIdentity();
    bool putPrincipal();
    bool putSettings();
    bool putTrigger();
    bool putAction();
    bool save();

    ComSession session_;
    std::wstring name_;
    std::wstring path_;
    std::wstring arguments_;
    ComPtr<ITaskService> service_;
    ComPtr<ITaskFolder> root_;
    ComPtr<ITaskDefinition> task_;
};

bool StartupTask::run() {
    if (FAILED(session_.result())) return report("\nCoInitializeEx failed: %x", session_.result());
    if (!connect()) return false;
    root_->DeleteTask(Bstr(name_), 0);
    if (path_.empty()) return true;
    return describe() && save();
}

bool StartupTask::connect() {
    HRESULT hr = CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                      RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, 0, nullptr);
    if (FAILED(hr)) return report("\nCoInitializeSecurity failed: %x", hr);
    hr = CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&service_));
    if (FAILED(hr)) return report("Failed to create an instance of ITaskService: %x", hr);
    hr = service_->Connect(Variant(), Variant(), Variant(), Variant());
    if (FAILED(hr)) return report("ITaskService::Connect failed: %x", hr);
    hr = service_->GetFolder(Bstr(L"\\"), &root_);
    if (FAILED(hr)) return report("Cannot get Root Folder pointer: %x", hr);
    return true;
}

bool StartupTask::describe() {
    HRESULT hr = service_->NewTask(0, &task_);
    if (FAILED(hr)) return report("Failed to create a task definition: %x", hr);
    return putIdentity() && putPrincipal() && putSettings() && putTrigger() && putAction();
}

bool StartupTask::putIdentity() {
    ComPtr<IRegistrationInfo> identity;
    HRESULT hr = task_->get_RegistrationInfo(&identity);
    if (FAILED(hr)) return report("\nCannot get identification pointer: %x", hr);
    hr = identity->put_Author(Bstr(name_));
    if (FAILED(hr)) return report("\nCannot put identification info: %x", hr);
    return true;
}

bool StartupTask::putPrincipal() {
    ComPtr<IPrincipal> principal;
    HRESULT hr = task_->get_Principal(&principal);
    if (FAILED(hr)) return report("\nCannot get principal pointer: %x", hr);
    hr = principal->put_LogonType(TASK_LOGON_INTERACTIVE_TOKEN);
    if (FAILED(hr)) return report("\nCannot put principal logon type: %x", hr);
    hr = principal->put_RunLevel(TASK_RUNLEVEL_HIGHEST);
    if (FAILED(hr)) return report("\nCannot put principal run level: %x", hr);
    return true;
}

bool StartupTask::putSettings() {
    ComPtr<ITaskSettings> settings;
    HRESULT hr = task_->get_Settings(&settings);
    if (FAILED(hr)) return report("\nCannot get settings pointer: %x", hr);
    hr = settings->put_StartWhenAvailable(VARIANT_TRUE);
    if (FAILED(hr)) return report("\nCannot put setting info: %x", hr);
    return true;
}

bool StartupTask::putTrigger() {
    ComPtr<ITriggerCollection> triggers;
    HRESULT hr = task_->get_Triggers(&triggers);
    if (FAILED(hr)) return report("\nCannot get trigger collection: %x", hr);
    ComPtr<ITrigger> trigger;
    hr = triggers->Create(TASK_TRIGGER_LOGON, &trigger);
    if (FAILED(hr)) return report("\nCannot create a logon trigger: %x", hr);
    ComPtr<ILogonTrigger> logon;
    hr = trigger.As(&logon);
    if (FAILED(hr)) return report("\nQueryInterface call failed on ILogonTrigger: %x", hr);
    hr = logon->put_Enabled(VARIANT_TRUE);
    if (FAILED(hr)) return report("\nCannot put logon trigger enabled: %x", hr);
    hr = logon->put_Delay(Bstr(kLogonDelay));
    if (FAILED(hr)) return report("\nCannot put logon trigger delay: %x", hr);
    return true;
}

bool StartupTask::putAction() {
    ComPtr<IActionCollection> actions;
    HRESULT hr = task_->get_Actions(&actions);
    if (FAILED(hr)) return report("\nCannot get Task collection pointer: %x", hr);
    ComPtr<IAction> action;
    hr = actions->Create(TASK_ACTION_EXEC, &action);
    if (FAILED(hr)) return report("\nCannot create action: %x", hr);
    ComPtr<IExecAction> exec;
    hr = action.As(&exec);
    if (FAILED(hr)) return report("\nQueryInterface call failed for IExecAction: %x", hr);
    hr = exec->put_Path(Bstr(path_));
    if (FAILED(hr)) return report("\nCannot put the action executable path: %x", hr);
    exec->put_Arguments(Bstr(arguments_));
    return true;
}

bool StartupTask::save() {
    ComPtr<IRegisteredTask> registered;
    HRESULT hr = root_->RegisterTaskDefinition(Bstr(name_), task_.Get(), TASK_CREATE_OR_UPDATE, Variant(kAdministrators),
                                               Variant(), TASK_LOGON_GROUP, Variant(L""), &registered);
    if (FAILED(hr)) return report("\nError saving the Task : %x", hr);
    std::printf("\nSuccess! Task successfully registered.");
    std::fflush(stdout);
    return true;
}

}  // namespace

bool registerStartupAction(const std::string& name, const std::string& path, const std::string& arguments) {
    if (StartupTask(name, path, arguments).run()) return true;
    logInfo("Failed to set auto-run task %s, %s", name.c_str(), path.c_str());
    return false;
}

bool unregisterStartupAction(const std::string& name) {
    if (StartupTask(name, "", "").run()) return true;
    logInfo("Failed to cancel auto-run task %s", name.c_str());
    return false;
}

}  // namespace zel
