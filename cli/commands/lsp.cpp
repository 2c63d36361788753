// `lanfab lsp`: the language server, for editors.

#include <iostream>

#include "cli/commands/commands.h"
#include "cli/language_server/server.h"

Command lsp_command() {
  static bool uses_standard_streams = true;
  return {"lsp",
          "Run a language server for an editor, over standard input and output",
          {{"--stdio", "the default; some editors pass it", &uses_standard_streams}},
          "Example, for Neovim: vim.lsp.start_client({cmd = {'lanfab', 'lsp'}})",
          [] { return LanguageServer(std::cin, std::cout).serve() ? 0 : 1; }};
}
