"""How Sphinx makes the site of what make_site has laid out."""
import json
import os
import re
from pathlib import Path

from docutils import nodes
from sphinx.search.en import SearchEnglish

HERE = Path(__file__).resolve().parent

project = "orval_unified_kpxukey"
version = release = os.environ["ORVAL_VERSION"]
extensions = ["myst_parser", "breathe"]
root_doc = "index"
source_suffix = {".md": "markdown"}
exclude_patterns: list = []
highlight_language = "none"
suppress_warnings = ["misc.highlighting_failure"]

myst_enable_extensions = ["colon_fence", "html_image"]
myst_heading_anchors = 4

breathe_projects = {"orval": os.environ["ORVAL_REFERENCE_XML"]}
breathe_default_project = "orval"
breathe_domain_by_extension = {"h": "c"}
breathe_show_include = False

html_theme = "furo"
html_title = project
html_static_path = ["static"]
html_css_files = ["site.css"]
html_logo = str(HERE.parent / "packaging/desktop/com.kpx.orvalunified.svg")
html_favicon = html_logo
html_copy_source = False
html_show_sourcelink = False
html_show_copyright = False
html_use_index = False
html_last_updated_fmt = None
# Pages that are opened as files cannot be fetched by scripts.
html_show_search_summary = False
html_search_language = "words_and_pairs"
templates_path = ["templates"]
html_sidebars = {"**": ["sidebar/brand.html", "sidebar/search.html", "sidebar/scroll-start.html",
                        "sidebar/parts.html", "sidebar/scroll-end.html"]}

CHINESE_PAGE = re.compile(r"\.zh_CN$")
# What the theme says on every page.
WORDS = {"Search": "搜索", "On this page": "本页内容", "Next": "下一页", "Previous": "上一页", "Home": "首页",
         "Back to top": "回到顶部"}


class WordsAndPairs(SearchEnglish):
    """English as usual, and Chinese, which has no blanks between its words, by pairs of characters."""
    lang = "words_and_pairs"
    language_name = "English and Chinese"
    js_splitter_code = """
function splitQuery(query) {
  const found = [];
  for (const word of query.match(/[\\u4e00-\\u9fff]+|[a-zA-Z0-9_]+/g) || []) {
    if (word.length < 3 || word.charCodeAt(0) < 0x4e00) found.push(word);
    else for (let at = 0; at + 1 < word.length; ++at) found.push(word.slice(at, at + 2));
  }
  return found;
}
"""

    def split(self, input):
        for word in re.findall(r"[\u4e00-\u9fff]+|[a-zA-Z0-9_]+", input):
            if len(word) < 3 or ord(word[0]) < 0x4e00:
                yield word
            else:
                yield from (word[at:at + 2] for at in range(len(word) - 1))


def colour_sessions(app, doctree):
    """What is typed at a prompt stands out from what answers."""
    for block in doctree.findall(nodes.literal_block):
        if block.get("language", "default") in ("default", "none") and re.match(r"\$ ", block.astext()):
            block["language"] = "console"


def language_of(page):
    return "zh_CN" if CHINESE_PAGE.search(page) else "en"


def other_language(app, page):
    """The same page in the other language, or where that one begins."""
    plain = CHINESE_PAGE.sub("", page)
    other = plain if plain != page else f"{page}.zh_CN"
    return other if other in app.env.found_docs else "index" if plain != page else "index.zh_CN"


def add_context(app, page, template, context, doctree):
    language = language_of(page)
    context["language"] = language.replace("_", "-")
    context["toctree"] = lambda **options: ""
    context["parts"] = app.config.parts[language]
    context["landing"] = "index" if language == "en" else "index.zh_CN"
    context["other_language"] = other_language(app, page)
    context["other_language_name"] = "中文" if language == "en" else "English"
    if language != "en":
        context["_"] = lambda text: WORDS.get(text, text)


def read_parts(app, config):
    """The navigation, as make_site found it."""
    config.parts = json.loads((Path(app.srcdir) / "navigation.json").read_text(encoding="utf-8"))


def name_pages_once(app):
    """A page's title is no heading within it: the search would show both."""
    for titles in app.builder.indexer._all_titles.values():
        titles[:1] = [(title, None) for title, _ in titles[:1]]
    return []


def complete_theme(app, failure):
    """Debian's copy of the theme is not put together for browsers: its script imports another one, which files cannot,
    and its dark colours wait for a choice instead of following the desktop's."""
    static = Path(app.outdir) / "_static"
    script = static / "scripts/furo.js"
    text = script.read_text(encoding="utf-8")
    imported = re.match(r'import Gumshoe from "\./(.*?)";\n', text)
    if imported:
        script.write_text((script.parent / imported[1]).read_text(encoding="utf-8") + text[imported.end():],
                          encoding="utf-8")
    style = static / "styles/furo.css"
    text = style.read_text(encoding="utf-8")
    if "prefers-color-scheme" not in text:
        dark = re.search(r'body\[data-theme="dark"\] \{(.*?)\}', text, re.DOTALL)[1]
        style.write_text(text + '@media (prefers-color-scheme: dark) {\n  body[data-theme="auto"] {' + dark + "}\n}\n",
                         encoding="utf-8")


def setup(app):
    app.add_search_language(WordsAndPairs)
    app.connect("config-inited", read_parts)
    app.connect("doctree-read", colour_sessions)
    # Before the theme's own, which would draw a tree for every page.
    app.connect("html-page-context", add_context, priority=100)
    app.connect("html-collect-pages", name_pages_once)
    app.connect("build-finished", complete_theme)
    return {"parallel_read_safe": True, "parallel_write_safe": True}
