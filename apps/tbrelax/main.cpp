// tbrelax: relaxes the molecule in input.xyz and reports it in output.xyz. No arguments; the one
// argument --version alone prints the version, and any other arguments are ignored as always.
// Exit status: 0 completed, 1 input rejected, 2 file or keyboard failure, 3 non-finite energy,
// 4 out of memory, 70 internal error, 130 and 143 stopped by SIGINT and SIGTERM.

#include <iostream>
#include <new>
#include <string_view>

#include "../signals/interruption.hpp"
#include "driver/tbrelax_run.hpp"
#include "io/diagnostic.hpp"
#include "state/errors.hpp"

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--version") {
    std::cout << "tbrelax " TBRELAX_VERSION "\n";
    return 0;
  }
  namespace signals = tbrelax::signals;
  signals::catch_interruptions();
  tbrelax::common_var c;
  tbrelax::param par;
  tbrelax::drive drv;
  tbrelax::console con(std::cout, std::cin);
  try {
    auto solver = tbrelax::make_default_solver();
    tbrelax::run_tbrelax(c, par, drv, con, *solver, signals::check_interruption);
    return 0;
  } catch (const tbrelax::interrupted& e) {
    return signals::interrupted_by_signal("tbrelax", e.signal());
  } catch (const tbrelax::input_rejected& e) {
    return e.status();  // the program's own message is on the screen
  } catch (const tbrelax::numerical_error& e) {
    return e.status();  // likewise
  } catch (const tbrelax::out_of_memory& e) {
    return e.status();  // likewise
  } catch (const tbrelax::tb_error& e) {
    // A signal cuts a pause short: the failed read is the interruption.
    if (const int s = signals::received.load()) return signals::interrupted_by_signal("tbrelax", s);
    std::cout.flush();
    std::cerr << tbrelax::format_diagnostic("tbrelax", e);
    return e.status();
  } catch (const std::bad_alloc&) {
    std::cout.flush();
    std::cerr << "tbrelax: error: out of memory\n";
    return 4;
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "tbrelax: internal error: " << e.what() << '\n';
    return 70;
  }
}
