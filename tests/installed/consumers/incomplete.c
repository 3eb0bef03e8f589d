/* A library that was linked without one that it needs. */
int function_that_nobody_has(void);

int IncompleteFunction(void);
int IncompleteFunction(void) {
    return function_that_nobody_has();
}
