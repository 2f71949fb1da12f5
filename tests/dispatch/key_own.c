/* A client with a variable of its own that happens to have the same name. */
int key = 5;

void writeKey(int index) { key = index; }
int keyIsTheLibrarys(void) { return 0; }
