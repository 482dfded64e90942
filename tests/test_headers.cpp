// What compiles the headers of the test library.
int main() {}
