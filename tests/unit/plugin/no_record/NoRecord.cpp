// A shared object that is no plug-in.
extern "C" int orloVrrpNothing();
extern "C" int orloVrrpNothing() {
   return 0;
}
