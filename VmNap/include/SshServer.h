// The host and virtual-machine objects: what the tool knows of an ESXi host,
// what it saves to the VM list file, and the operations that drive the host.
#ifndef VMNAP_SSH_SERVER_H
#define VMNAP_SSH_SERVER_H

#include <set>
#include <string>
#include <vector>

#include "EnvString.h"
#include "SuspendPolicy.h"
#include "XmlObjAttr.h"
#include "XmlObject.h"
#include "XmlObjectList.h"

namespace Ssh {
class SshSession;
}

namespace SshSrv {

class CliParser;
struct SessionLogin;

// Common base: the borrowed session and parser, a name and a power status.
class SshServer : public Env::XmlObject {
public:
    class XmlObjAttrName : public Env::XmlObjStrAttr<Env::String> {};
    class XmlObjAttrStatus : public Env::XmlObjStrAttr<Env::String> {};

    class SshServerStructure : public Env::XmlObject::XmlObjectStructure {
    public:
        SshServerStructure();

    protected:
        // Registers a class's creator with the builder, when there is one.
        static void RegisterCreator(const char* name, Env::XmlObject* (*creator)());
    };

    SshServer();
    SshServer(Ssh::SshSession* pSession, CliParser* pParser, const Env::String& name);

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "SshServer"; }
    ~SshServer() override {}

    virtual int Login();
    virtual int Suspend();
    virtual int Reboot();
    virtual int PowerOn();
    virtual int IsPoweredOn();
    virtual int PowerOff();
    virtual int UpdateStatus();
    virtual int AddChild(const Env::String& id, const Env::String& name);
    // The datastore the child last added with `id` keeps its files on (the
    // table's file column); kept in memory only, never written to a file.
    virtual void SetChildDatastore(const Env::String& id, const std::string& datastore);

    static Env::XmlObject* Create() { return new SshServer(); }

    void SetSession(Ssh::SshSession* pSession) { m_pSshSession = pSession; }
    void SetParser(CliParser* pParser) { m_pParser = pParser; }
    Ssh::SshSession* GetSession() const { return m_pSshSession; }
    CliParser* GetParser() const { return m_pParser; }

    Env::String GetName() const { return m_Name.Get(); }
    void SetName(const Env::String& v) { m_Name.Set(v); }
    Env::String GetNameStr() const { return m_Name.GetStr(); }
    void SetNameStr(const Env::String& v) { m_Name.SetStr(v); }
    Env::String GetStatus() const { return m_Status.Get(); }
    void SetStatus(const Env::String& v) { m_Status.Set(v); }
    Env::String GetStatusStr() const { return m_Status.GetStr(); }
    void SetStatusStr(const Env::String& v) { m_Status.SetStr(v); }

    static SshServerStructure m_gSshServerStructure;

protected:
    // Sends one command on the session and takes in its reply; a failed step
    // is traced under `op` with `sendText` or the reply's call text.
    int SendAndReceive(const char* op, const Env::String& command, const char* sendText,
                       char** ppResponse);
    // The VM id the server's commands carry, for the trace of a refused one.
    virtual Env::String CommandId() const { return Env::String(); }

    CliParser* m_pParser;
    Ssh::SshSession* m_pSshSession;

private:
    XmlObjAttrName m_Name;
    XmlObjAttrStatus m_Status;
};

// How one power command is sent, read and confirmed (see VirtualMachineServer.cpp).
struct PowerChange;

// One virtual machine of the host, known by the host's VM id.
class VirtualMachineServer : public SshServer {
public:
    class XmlObjAttrId : public Env::XmlObjStrAttr<Env::String> {};
    class XmlObjAttrRebootStatus : public Env::XmlObjStrAttr<Env::String> {};
    class XmlObjAttrStopped : public Env::XmlObjStrAttr<Env::String> {};
    class XmlObjAttrTimeout : public Env::XmlObjStrAttr<int> {
    public:
        XmlObjAttrTimeout() { m_val = 300; }
    };

    class VirtualMachineServerStructure : public SshServerStructure {
    public:
        VirtualMachineServerStructure();
    };

    VirtualMachineServer() {}
    VirtualMachineServer(Ssh::SshSession* pSession, CliParser* pParser);
    VirtualMachineServer(Ssh::SshSession* pSession, CliParser* pParser, const Env::String& id,
                         const Env::String& name);

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "VirtualMachineServer"; }

    int Suspend() override;
    int Reboot() override;
    int PowerOn() override;
    int IsPoweredOn() override;
    int PowerOff() override;
    int UpdateStatus() override;

    static Env::XmlObject* Create() { return new VirtualMachineServer(); }

    Env::String GetId() const { return m_Id.Get(); }
    void SetId(const Env::String& v) { m_Id.Set(v); }
    Env::String GetIdStr() const { return m_Id.GetStr(); }
    void SetIdStr(const Env::String& v) { m_Id.SetStr(v); }
    Env::String GetRebootStatus() const { return m_RebootStatus.Get(); }
    void SetRebootStatus(const Env::String& v) { m_RebootStatus.Set(v); }
    Env::String GetRebootStatusStr() const { return m_RebootStatus.GetStr(); }
    void SetRebootStatusStr(const Env::String& v) { m_RebootStatus.SetStr(v); }
    int GetTimeout() const { return m_Timeout.Get(); }
    void SetTimeout(int const& v) { m_Timeout.Set(v); }
    Env::String GetTimeoutStr() const { return m_Timeout.GetStr(); }
    void SetTimeoutStr(const Env::String& v) { m_Timeout.SetStr(v); }
    // How a run that falls back past refusals stopped the VM, or why it left it running.
    Env::String GetStopped() const { return m_Stopped.Get(); }
    void SetStopped(const Env::String& v) { m_Stopped.Set(v); }
    Env::String GetStoppedStr() const { return m_Stopped.GetStr(); }
    void SetStoppedStr(const Env::String& v) { m_Stopped.SetStr(v); }

    // Asks the guest to shut down through VMware Tools (the host answers at once).
    int Shutdown();
    // Reads the state every few seconds until the VM is powered off (0) or
    // `seconds` have passed (SSH_VERIFY_ERR).
    int WaitUntilPoweredOff(int seconds);

    // The datastore named at the start of the VM's .vmx path in the host's
    // table; empty when unknown (a VM read from a list file). Not in the file.
    const std::string& GetDatastore() const { return m_datastore; }
    void SetDatastore(const std::string& datastore) { m_datastore = datastore; }

    // The state last read from the host is "Powered on" (no command is sent).
    bool WasPoweredOn() const;

    // Suspended by this tool and waiting to be powered on again.
    bool IsMarkedToReboot() const;
    void MarkToReboot();

    static VirtualMachineServerStructure m_gVirtualMachineServerStructure;

protected:
    Env::String CommandId() const override { return GetId(); }

private:
    int ChangePower(const PowerChange& change);
    int ParseReply(const PowerChange& change, char* pResponse);

    XmlObjAttrId m_Id;
    XmlObjAttrRebootStatus m_RebootStatus;
    XmlObjAttrTimeout m_Timeout;
    XmlObjAttrStopped m_Stopped;
    std::string m_datastore;
};

// The ESXi host: owns the session, the parser and the list of its VMs.
class ESXiServer : public SshServer {
public:
    class XmlObjAttrHost : public Env::XmlObjStrAttr<Env::String> {};
    class XmlObjAttrUser : public Env::XmlObjStrAttr<Env::String> {};
    class XmlObjAttrPassword : public Env::XmlObjStrAttr<Env::String> {};
    // Holds only virtual machines: any other object named in the list file
    // makes the file unreadable.
    class XmlObjChildVMs : public Env::XmlObjectList {
    public:
        XmlObjChildVMs() { SetName("VMs"); }

    protected:
        bool AcceptsItem(const Env::XmlObject& item) const override;
    };
    class XmlObjAttrTimeout : public Env::XmlObjStrAttr<int> {
    public:
        XmlObjAttrTimeout() { m_val = 300; }
    };
    class XmlObjAttrMaintenanceMode : public Env::XmlObjStrAttr<bool> {
    public:
        XmlObjAttrMaintenanceMode() { m_val = false; }
    };
    class XmlObjAttrReboot : public Env::XmlObjStrAttr<bool> {
    public:
        XmlObjAttrReboot() { m_val = false; }
    };
    // When the tool asked the host to power off (epoch seconds, the tool's
    // clock); empty, and not written, when it did not.
    class XmlObjAttrPowerOffAt : public Env::XmlObjStrAttr<Env::String> {};

    class ESXiServerStructure : public SshServerStructure {
    public:
        ESXiServerStructure();
    };

    ESXiServer();
    ESXiServer(const Env::String& host, const Env::String& user, const Env::String& password);
    ~ESXiServer() override;

    const XmlObjectStructure& GetXmlStructure() const override;
    const char* ClassName() const override { return "ESXiServer"; }
    bool FromXml(const Env::XmlNode* node) override;

    // Seconds of silence the session waits for the login and for any other
    // reply than a VM's power operation; unset, the session's own limit holds.
    void SetWaitLimits(int loginSeconds, int replySeconds) {
        m_nLoginTimeout = loginSeconds;
        m_nReplyTimeout = replySeconds;
    }

    // What suspend_vms does beyond suspending (SuspendPolicy.h), and whether
    // either workflow only says what it would do.
    void SetSuspendPolicy(const SuspendPolicy& policy) { m_policy = policy; }

    // How long Login() keeps trying while the host boots (BootWait.h); 0: one try.
    void SetBootWait(int seconds) { m_nBootWaitSeconds = seconds; }

    // How many VM operations suspend_vms and reboot_vms run at once, each on
    // a session of its own (ESXiAtOnce.cpp); 1: one after another on the
    // host's session.
    void SetParallel(int operations) { m_nParallel = operations; }

    // Starts the client for the host's own address, or for `address`
    // whatever host a list file loaded before names (the file keeps its own).
    int Init() { return Init(GetHost()); }
    int Init(const Env::String& address);
    // Logs in: one try on the client started by Init(), or, with a boot wait,
    // tries on new clients while the host is still booting (ESXiLogin.cpp).
    int Login() override;
    // One try at the login dialogue, the first vim-cmd and the maintenance
    // state, on the client started last.
    int LogInOnce();
    // The last try's vim-cmd said that it cannot reach hostd yet.
    bool HostdStarting() const { return m_bHostdStarting; }
    // The address the client was started for last.
    const Env::String& ClientAddress() const { return m_sClientAddress; }
    // suspend_vms -poweroff: asks the host, in maintenance mode, to power off
    // (ESXiPowerOff.cpp); 0 when it accepted.
    int PowerOffHost();
    // The list file records the moment the power-off is asked for (`epoch`,
    // the tool's clock), or no power-off.
    void RecordPowerOff(long long epoch);
    void ForgetPowerOff() { m_PowerOffAt.Set(Env::String()); }
    bool PowerOffRecorded() const { return !m_PowerOffAt.Get().empty(); }
    // reboot_vms after a recorded power-off: 0 once the host has booted since
    // (HostBootCheck.h), waiting within the boot wait from `deadline`
    // (BootWait::Clock::Now()) on; 3 when it was not seen booted by then.
    int CheckBootSincePowerOff(double deadline);
    // Sends the uptime command and reads its reply (ESXiBootCheck.cpp).
    int ReadUptime(unsigned long long* micros);
    // A new client and a login, trying while the host boots, until `deadline`.
    int LogInAgain(double deadline);
    // suspend_vms -self: the VM the tool runs in still ran after the suspend
    // and is left to the host (ESXiSelfVm.cpp); LeaveSelfVmToHost() sends the
    // one detached command that stops it after the session, enters
    // maintenance mode and, with -poweroff, powers the host off. 0 when the
    // host started it.
    bool SelfVmLeftToHost() const { return m_pSelfVm != nullptr; }
    int LeaveSelfVmToHost();
    int Suspend() override;
    int Reboot() override;
    int IsPoweredOn() override;
    int AddChild(const Env::String& id, const Env::String& name) override;
    void SetChildDatastore(const Env::String& id, const std::string& datastore) override;

    int GetAllVms();
    int GetMaintenance();

    // The list file an earlier run left for this host: its marks carry over
    // into this run's suspend as far as they still hold (ESXiRecord.cpp).
    void TakeEarlierRecord(const ESXiServer& earlier);
    // Some VM is still marked "to reboot": the job of an earlier suspend is not done.
    bool AnyVmMarked() const;
    int EnterMaintenance();
    int ExitMaintenance();

    static Env::XmlObject* Create() { return new ESXiServer(); }

    Env::XmlObjectList& GetVMs() { return m_VMs; }
    const Env::XmlObjectList& GetVMs() const { return m_VMs; }
    Env::XmlObject* GetVMsObj() { return &m_VMs; }
    const Env::XmlObject* GetVMsObj() const { return &m_VMs; }

    Env::String GetHost() const { return m_Host.Get(); }
    void SetHost(const Env::String& v) { m_Host.Set(v); }
    Env::String GetHostStr() const { return m_Host.GetStr(); }
    void SetHostStr(const Env::String& v) { m_Host.SetStr(v); }
    Env::String GetUser() const { return m_User.Get(); }
    void SetUser(const Env::String& v) { m_User.Set(v); }
    Env::String GetUserStr() const { return m_User.GetStr(); }
    void SetUserStr(const Env::String& v) { m_User.SetStr(v); }
    Env::String GetPassword() const { return m_Password.Get(); }
    void SetPassword(const Env::String& v) { m_Password.Set(v); }
    Env::String GetPasswordStr() const { return m_Password.GetStr(); }
    void SetPasswordStr(const Env::String& v) { m_Password.SetStr(v); }
    int GetTimeout() const { return m_Timeout.Get(); }
    void SetTimeout(int const& v) { m_Timeout.Set(v); }
    Env::String GetTimeoutStr() const { return m_Timeout.GetStr(); }
    void SetTimeoutStr(const Env::String& v) { m_Timeout.SetStr(v); }
    bool GetMaintenanceMode() const { return m_MaintenanceMode.Get(); }
    void SetMaintenanceMode(bool const& v) { m_MaintenanceMode.Set(v); }
    Env::String GetMaintenanceModeStr() const { return m_MaintenanceMode.GetStr(); }
    void SetMaintenanceModeStr(const Env::String& v) { m_MaintenanceMode.SetStr(v); }
    bool GetReboot() const { return m_Reboot.Get(); }
    void SetReboot(bool const& v) { m_Reboot.Set(v); }
    Env::String GetRebootStr() const { return m_Reboot.GetStr(); }
    void SetRebootStr(const Env::String& v) { m_Reboot.SetStr(v); }
    Env::String GetPowerOffAtStr() const { return m_PowerOffAt.GetStr(); }
    void SetPowerOffAtStr(const Env::String& v) { m_PowerOffAt.SetStr(v); }

    static ESXiServerStructure m_gESXiServerStructure;

private:
    void CreateParserAndSession();
    void CarryOverMarks();
    int OrderTheVms(VmOrder* order);
    int StopTheVms(const VmOrder& order, bool* leftRunning);
    int StopTheVmsAtOnce(const std::vector<VirtualMachineServer*>& others,
                         const std::vector<VirtualMachineServer*>& last, bool* leftRunning);
    int StopPhaseAtOnce(const std::vector<VirtualMachineServer*>& running, bool byDatastore,
                        bool* leftRunning);
    int RebootTheVms();
    int RebootTheVmsAtOnce(const std::vector<VirtualMachineServer*>& marked);
    bool SeveralAtOnce(size_t vms) const { return m_nParallel > 1 && vms > 1; }
    size_t WorkersFor(size_t vms) const;
    SessionLogin WorkerLogin() const;
    bool HandOverSelfVm(VirtualMachineServer* self);
    bool MarkedVmsHavePlainIds() const;
    bool PowerOffAtIsPlain() const;
    void NoteHostdReply(const char* response);
    int ReadToPrompt(const char* op, const char* first, std::string& text);
    int ChangeMaintenance(const char* op, const Env::String& command, const char* sendText,
                          bool wanted);

    XmlObjAttrHost m_Host;
    XmlObjAttrUser m_User;
    XmlObjAttrPassword m_Password;
    XmlObjChildVMs m_VMs;
    XmlObjAttrTimeout m_Timeout;
    XmlObjAttrMaintenanceMode m_MaintenanceMode;
    XmlObjAttrReboot m_Reboot;
    XmlObjAttrPowerOffAt m_PowerOffAt;
    SuspendPolicy m_policy;
    int m_nLoginTimeout = 0;
    int m_nReplyTimeout = 0;
    int m_nBootWaitSeconds = 0;
    int m_nParallel = 1;
    bool m_bHostdStarting = false;
    Env::String m_sClientAddress;
    std::set<std::string> m_earlierMarks;  // ids an earlier run marked "to reboot"
    bool m_bEarlierReboot = false;          // an earlier run put the host into maintenance mode
    VirtualMachineServer* m_pSelfVm = nullptr;  // -self: the VM left to the host, one of m_VMs
};

}  // namespace SshSrv

#endif
