int main() { return 0; } // replaced by the application start
