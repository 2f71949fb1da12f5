#include <JorvaneFoundation/encoding/sniffer_table.h>
