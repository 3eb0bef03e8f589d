/* A client that looks at its texts before it hands them over. It takes no key and no other library.
 */
#include <orval_lint.h>
#include <stdio.h>

int main(void) {
    OrvalLintFinding found;
    size_t count = 0;
    const int32_t verdict = OrvalLintRequest("CertType(1)KeyTpye(2)HashType(3)",
                                             ORVAL_LINT_GENERATE_CERT_REQUEST, &found, 1, &count);

    printf("column %d: %s\n", (int)found.nColumn, found.szMessage);
    return verdict == ORVAL_LINT_REFUSED && count == 1 && found.nColumn == 12 ? 0 : 1;
}
