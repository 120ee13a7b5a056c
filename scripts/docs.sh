# ./dev docs: the site with guides and references, and the checks of their code and links.

need_for_docs() {
  need doxygen "reads the headers' comments"
  need python3-sphinx "makes the site"
  need python3-myst-parser "reads the guides"
  need python3-breathe "puts the headers' comments into the site"
  need furo "the site's look"
}

# Runs every code block; the programs must be built.
check_blocks() { with_simulator linux python3 scripts/check_docs.py; }

# A public declaration without a comment is an error, and so is every warning.
make_site() {
  rm -rf build/site build/site-work
  mkdir -p build/site-work
  doxygen docs/site/Doxyfile || return 1
  sphinx-build -q -W --keep-going -j auto -b html -c docs/site -d build/site-work/doctrees docs build/site
}

dev_docs() {
  local programs=(vekapi veksim vekgate vekdump vekterm)
  at_most 0 docs "$@"
  need_for_programs linux
  need_for_languages linux
  need_for_consumers linux
  need nlohmann-json3-dev "JSON in the programs"
  need_for_docs
  need_install
  step "make the site" make_site || fail "the site was not made"
  step "check the links" python3 scripts/check_links.py --site build/site || fail "a link is broken"
  build_preset linux "${programs[@]}" || fail "the build failed"
  step "check the code" check_blocks || fail "a code block does not work"
  verdict "the site: build/site/index.html"
}
