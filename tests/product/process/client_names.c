/* What a client may export under the library's names, unknowing: each counts its calls. */
#define CLIENT_FUNCTION(name)                                 \
    __attribute__((visibility("default"))) int client_##name; \
    __attribute__((visibility("default"))) int name(void) {   \
        ++client_##name;                                      \
        return 4711;                                          \
    }                                                         \
    int name(void)

CLIENT_FUNCTION(Initialize);
CLIENT_FUNCTION(GetLabel);
CLIENT_FUNCTION(SetLabel);
CLIENT_FUNCTION(ChangePin);
CLIENT_FUNCTION(VerifyPIN);
CLIENT_FUNCTION(GetPinInfo);
CLIENT_FUNCTION(GetCertInfo);
CLIENT_FUNCTION(GetData);
CLIENT_FUNCTION(SetData);
CLIENT_FUNCTION(Batch_Sign);
CLIENT_FUNCTION(DelCertAndTempKey);
CLIENT_FUNCTION(SetCachePinFlag);
