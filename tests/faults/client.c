/* A client whose system calls fail: each call of a round, and its code; then two rounds more, in
 * which all must succeed again, and how many descriptors are open after each.
 *
 *   fault-client SERIAL
 *
 * What lies between the two questions for files that never exist is what fail_system_calls lets
 * fail. */
#include <dirent.h>
#include <stdio.h>
#include <unistd.h>

#include "orval_unified_kpxukey.h"

enum { kRoom = 8192, kRounds = 3 };

static int OpenDescriptors(void) {
    DIR* const folder = opendir("/proc/self/fd");
    int count = -1; /* its own */
    if (folder == NULL) return count;
    while (readdir(folder) != NULL) ++count;
    closedir(folder);
    return count;
}

static int failures = 0;

static void Tell(const char* name, int32_t code) {
    failures += code != 0;
    printf("%s %d\n", name, code);
}

static void CallAll(const char* serial) {
    static char room[kRoom];
    int32_t length = kRoom;
    Tell("Initialize", Initialize());
    Tell("GetLabel", GetLabel(serial, room, &length));
    length = kRoom;
    Tell("GetCert", GetCert(serial, 1, 1, room, &length));
    length = kRoom;
    Tell("Sign", Sign(serial, 1, 0, "pay 100 to 4711", "Pay?", room, &length));
    Tell("SetData", SetData(serial, 1, "customer 4711"));
    length = kRoom;
    Tell("GetData", GetData(serial, 1, room, &length));
    length = kRoom;
    Tell("GetCertDN", GetCertDN(serial, 1, 1, room, &length));
    length = kRoom;
    Tell("GenerateCertRequest",
         GenerateCertRequest(serial, "CertType(1)KeyType(2)HashType(3)", room, &length));
    Tell("GetPrintNumber", (length = kRoom, GetPrintNumber(room, &length)));
    Finalize();
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    setvbuf(stdout, NULL, _IOFBF, 1 << 16); /* told at the end, by one system call */
    for (int round = 0; round < kRounds; ++round) {
        if (round == 0) (void)access("/fault-client/begins", F_OK);
        failures = 0;
        CallAll(argv[1]);
        if (round == 0) (void)access("/fault-client/ends", F_OK);
        printf("round %d: %d failed, %d descriptors\n", round, failures, OpenDescriptors());
    }
    return failures != 0;
}
