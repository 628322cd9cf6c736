// A plug-in from another time: its record begins with its number, like every other, and ends where
// ours goes on.
struct OtherPlugin {
   unsigned abi;
   const char *version;
};

extern "C" const OtherPlugin orloVrrpPlugin;
extern "C" const OtherPlugin orloVrrpPlugin{ .abi = 999, .version = "9.9" };
