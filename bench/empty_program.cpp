// Does nothing: what it takes is the loader's, for the libraries that it is linked with.
int main() {
    return 0;
}
