#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_EVERY_CALL_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_EVERY_CALL_H

#include <vector>

#include "ukey.hpp"

// Every function but those of the wait, by a call of it.
struct AnyCall {
    const char* name;
    void (*make)(const ukey::Library&, const ukey::Key&);
};

inline std::vector<AnyCall> EveryCall() {
    using Library = ukey::Library;
    using Key = ukey::Key;
    return {
        {"GetPrintNumber", [](const Library& library, const Key&) { library.PluggedKey(); }},
        {"Initialize", [](const Library& library, const Key&) { library.Initialize(); }},
        {"GetLastErrCode", [](const Library& library, const Key&) { library.GetLastErrCode(); }},
        {"GetErrorMsg", [](const Library& library, const Key&) { library.GetErrorMsg(1); }},
        {"GetDriverVersion",
         [](const Library& library, const Key&) { library.GetDriverVersion(); }},
        {"GetDllVersion", [](const Library& library, const Key&) { library.GetDllVersion(); }},
        {"GetVidAndPid", [](const Library& library, const Key&) { library.GetVidAndPid(); }},
        {"GetVendorInfo", [](const Library& library, const Key&) { library.GetVendorInfo(1); }},
        {"CheckDriverIntegrity",
         [](const Library& library, const Key&) { library.CheckDriverIntegrity(); }},
        {"ChangePin", [](const Library&, const Key& key) { key.ChangePin(); }},
        {"VerifyPIN", [](const Library&, const Key& key) { key.VerifyPIN(); }},
        {"TestVerifyAndCachePin",
         [](const Library&, const Key& key) { key.TestVerifyAndCachePin(0); }},
        {"GetPinInfo", [](const Library&, const Key& key) { key.GetPinInfo(); }},
        {"RemovePinCache", [](const Library& library, const Key&) { library.RemovePinCache(); }},
        {"SetCachePinFlag", [](const Library&, const Key& key) { key.SetCachePinFlag(1); }},
        {"InitUKey", [](const Library&, const Key& key) { key.InitUKey(); }},
        {"TestInitUKey", [](const Library&, const Key& key) { key.TestInitUKey(nullptr); }},
        {"GetLabel", [](const Library&, const Key& key) { key.GetLabel(); }},
        {"SetLabel", [](const Library&, const Key& key) { key.SetLabel(""); }},
        {"GetData", [](const Library&, const Key& key) { key.GetData(1); }},
        {"SetData", [](const Library&, const Key& key) { key.SetData(1, ""); }},
        {"SetCharset", [](const Library& library, const Key&) { library.SetCharset("", ""); }},
        {"SetLanguage", [](const Library& library, const Key&) { library.SetLanguage("", ""); }},
        {"Sign", [](const Library&, const Key& key) { key.Sign(0, 0, "", ""); }},
        {"SignHash", [](const Library&, const Key& key) { key.SignHash(0, 0, "", 0); }},
        {"Batch_Sign", [](const Library&, const Key& key) { key.Batch_Sign({}); }},
        {"AsymDec", [](const Library&, const Key& key) { key.AsymDec(0, 0, ""); }},
        {"GetCert", [](const Library&, const Key& key) { key.GetCert(0, 0); }},
        {"GetCertDN", [](const Library&, const Key& key) { key.GetCertDN(0, 0); }},
        {"GetCertInfo", [](const Library&, const Key& key) { key.GetCertInfo(0); }},
        {"DelCertAndTempKey", [](const Library&, const Key& key) { key.DelCertAndTempKey(0, 0); }},
        {"RegisterCert", [](const Library& library, const Key&) { library.RegisterCert(); }},
        {"UnregisterCert", [](const Library& library, const Key&) { library.UnregisterCert(); }},
        {"RepairDriver", [](const Library& library, const Key&) { library.RepairDriver(); }},
        {"ImportX509Cert", [](const Library&, const Key& key) { key.ImportX509Cert(""); }},
        {"ImportEncX509Cert",
         [](const Library&, const Key& key) { key.ImportEncX509Cert("", ""); }},
        {"Batch_ImportX509Cert",
         [](const Library&, const Key& key) { key.Batch_ImportX509Cert(""); }},
        {"GenerateCertRequest",
         [](const Library&, const Key& key) { key.GenerateCertRequest(""); }},
        {"Batch_InitAndGenerateCertRequest",
         [](const Library&, const Key& key) { key.Batch_InitAndGenerateCertRequest(0, ""); }},
        {"Finalize", [](const Library& library, const Key&) { library.Finalize(); }},
    };
}

#endif
