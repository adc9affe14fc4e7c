// Asked again and again before a page is taken, in the program's own script world; says whether the
// page has settled. Pages build their text after they load (from a script, from data they fetch) and
// load pictures only when scrolled to: taken at once, they would give a spinner and empty frames.
// The first call starts watching the page; each asks for the lazy pictures, the only change made to it.
(function () {
    "use strict";

    var quietMs = 500;       // no change for this long: the page is done
    var sparseQuietMs = 2500; // longer while it shows little text: it may still be fetching its text
    var sparseText = 600;    // characters
    var longestMs = 7000;    // a page that never stops changing (a clock, a carousel) is taken anyway

    // Pictures that wait to be scrolled to: loading="lazy", or the real address kept in data-src (or
    // a variant) beside a placeholder, for the page's own script to swap in.
    function wakePictures() {
        var pictures = document.images;
        for (var i = 0; i < pictures.length; ++i) {
            var picture = pictures[i];
            if (picture.loading === "lazy")
                picture.loading = "eager";
            var shown = picture.getAttribute("src") || "";
            var real = picture.getAttribute("data-src") || picture.getAttribute("data-lazy-src") ||
                       picture.getAttribute("data-original") || "";
            var placeholder = !shown.trim() || /^\s*data:/i.test(shown) ||
                              (picture.complete && picture.naturalWidth > 0 && picture.naturalWidth <= 2);
            if (real.trim() && real !== shown && !/^\s*(javascript|data):/i.test(real) && placeholder)
                picture.setAttribute("src", real);
            var realSet = picture.getAttribute("data-srcset") || picture.getAttribute("data-lazy-srcset");
            if (realSet && (placeholder || !picture.getAttribute("srcset")))
                picture.setAttribute("srcset", realSet);
        }
        var sources = document.querySelectorAll("picture > source[data-srcset]");
        for (var j = 0; j < sources.length; ++j) {
            if (!sources[j].getAttribute("srcset"))
                sources[j].setAttribute("srcset", sources[j].getAttribute("data-srcset"));
        }
    }

    function picturesPending() {
        var pictures = document.images;
        for (var i = 0; i < pictures.length; ++i) {
            if (!pictures[i].complete)
                return true;
        }
        return false;
    }

    // The page's own text, counted only as far as it matters. Not innerText: a page that is not drawn
    // (as when taken without a window) gives its scripts' source there as text.
    function hasLittleText() {
        if (!document.body)
            return true;
        var walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
        var length = 0;
        for (var node = walker.nextNode(); node; node = walker.nextNode()) {
            var holder = node.parentNode ? node.parentNode.nodeName : "";
            if (holder !== "SCRIPT" && holder !== "STYLE" && holder !== "NOSCRIPT" && holder !== "TEMPLATE")
                length += node.nodeValue.trim().length;
            if (length >= sparseText)
                return false;
        }
        return true;
    }

    var now = Date.now();
    var state = window.lorekeepSettle;
    if (!state) {
        state = window.lorekeepSettle = { started: now, changed: now };
        // Changes of attributes alone (a blinking cursor, an animation's class) are no new text.
        new MutationObserver(function () {
            state.changed = Date.now();
        }).observe(document, { childList: true, characterData: true, subtree: true });
    }
    wakePictures(); // again each time: the pictures of text built since are waiting too
    if (now - state.started >= longestMs)
        return true;
    if (document.readyState !== "complete" || picturesPending())
        return false;
    return now - state.changed >= (hasLittleText() ? sparseQuietMs : quietMs);
})()
