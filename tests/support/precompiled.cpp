// Carries the header that all test programs have precompiled.
int main() {}
