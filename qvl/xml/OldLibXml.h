// What libxml2 needs help with when memory runs out, each with the test that fails without it
// on 2.9.14, which is the release of Debian 12. What is for releases before 2.12 goes when that is
// the oldest. Private to the library.

#ifndef QVL_XML_OLD_LIB_XML_H
#define QVL_XML_OLD_LIB_XML_H

#include <libxml/globals.h>
#include <libxml/threads.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <memory>
#include <new>

namespace QVL {

#if LIBXML_VERSION >= 21200

using ErrorPointer = const xmlError*;

// What libxml2 keeps for this thread is there, or std::bad_alloc is thrown.
inline void prepareThread() {
  if (xmlCheckThreadLocalStorage() != 0) throw std::bad_alloc();
}

// What an expression comes to; null when it cannot be evaluated.
inline xmlXPathObject* evaluate(const xmlChar* xpath, xmlXPathContext* context) {
  return xmlXPathEvalExpression(xpath, context);
}

#else

using ErrorPointer = xmlError*;

// The old releases crash when they get no memory for what they keep for a thread (StarvedThread).
// What is asked for and given back here is there for them a moment later.
inline void prepareThread() {
  thread_local bool prepared = false;
  if (prepared || xmlIsMainThread()) return;
  void* const memory = xmlMalloc(sizeof(xmlGlobalState));
  if (!memory) throw std::bad_alloc();
  xmlFree(memory);
  if (!xmlGetGlobalState()) throw std::bad_alloc();
  prepared = true;
}

// As xmlXPathEvalExpression, with the stack of values made ahead: without memory for it, the old
// releases free the evaluation twice (StarvedDocument, its queries).
inline xmlXPathObject* evaluate(const xmlChar* xpath, xmlXPathContext* context) {
  struct FreeEvaluation {
    void operator()(xmlXPathParserContext* evaluation) const {
      xmlXPathFreeParserContext(evaluation);
    }
  };
  constexpr int kValues = 16;
  const std::unique_ptr<xmlXPathParserContext, FreeEvaluation> evaluation(
      xmlXPathNewParserContext(xpath, context));
  if (!evaluation) return nullptr;
  evaluation->valueTab =
      static_cast<xmlXPathObject**>(xmlMalloc(kValues * sizeof(xmlXPathObject*)));
  if (!evaluation->valueTab) return nullptr;
  evaluation->valueMax = kValues;
  xmlXPathEvalExpr(evaluation.get());
  return evaluation->error == XPATH_EXPRESSION_OK ? valuePop(evaluation.get()) : nullptr;
}

#endif

// A new element; null when there is no memory for it. 2.9.14 makes one without its name then
// (StarvedDocument, ReplaceRoot); what later releases do is not known.
inline xmlNode* newElement(const xmlChar* name) {
  xmlNode* const element = xmlNewNode(nullptr, name);
  if (!element || element->name) return element;
  xmlFreeNode(element);
  return nullptr;
}

}  // namespace QVL

#endif  // QVL_XML_OLD_LIB_XML_H
