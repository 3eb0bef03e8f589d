// Nothing: what loading it takes is the loader's, for what is needed with it.
