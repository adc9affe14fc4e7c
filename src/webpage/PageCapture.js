// Runs in a world of the program's own beside the page's: the page's scripts cannot see these names,
// and whatever they did to their own Array, JSON or document methods is not seen here. The page's DOM
// is shared, so nothing here changes it: every change is made to a copy that has no window, where no
// picture loads and no handler runs.
(function (part, Readability) {
    "use strict";

    // Elements that never become text: code, styles, frames, plug-ins, form controls.
    var dropped = {
        SCRIPT: 1, STYLE: 1, NOSCRIPT: 1, TEMPLATE: 1, IFRAME: 1, FRAME: 1, FRAMESET: 1, OBJECT: 1, EMBED: 1,
        APPLET: 1, LINK: 1, META: 1, BASE: 1, CANVAS: 1, INPUT: 1, BUTTON: 1, SELECT: 1, TEXTAREA: 1, DIALOG: 1,
        AUDIO: 1, VIDEO: 1, SOURCE: 1, TRACK: 1, PORTAL: 1
    };
    var addressAttributes = ["href", "src", "action", "formaction", "xlink:href", "data", "background", "poster",
                             "cite", "longdesc", "usemap", "ping"];

    function unsafeAddress(value) {
        var squeezed = String(value).replace(/[\u0000-\u0020\u007f-\u00a0]/g, "").toLowerCase();
        return /^(javascript|vbscript|livescript|mocha):/.test(squeezed) || /^data:(text\/html|image\/svg|application)/.test(squeezed);
    }

    function scriptedSvg(svg) {
        if (svg.querySelector("script, foreignObject, foreignobject, a, animate, set"))
            return true;
        var all = svg.getElementsByTagName("*");
        for (var i = -1; i < all.length; ++i) {
            var element = i < 0 ? svg : all[i];
            for (var j = 0; j < element.attributes.length; ++j) {
                if (/^on/i.test(element.attributes[j].name))
                    return true;
            }
        }
        return false;
    }

    // Leaves in `root` (of a windowless document) only what a reader may keep: no script, no handler,
    // no address that runs code.
    function clean(root) {
        var all = Array.prototype.slice.call(root.getElementsByTagName("*"));
        for (var i = 0; i < all.length; ++i) {
            var element = all[i];
            if (!element.parentNode)
                continue;
            var name = element.tagName.toUpperCase();
            if (dropped[name] || (name === "SVG" && scriptedSvg(element))) {
                element.parentNode.removeChild(element);
                continue;
            }
            var names = [];
            for (var j = 0; j < element.attributes.length; ++j)
                names.push(element.attributes[j].name);
            for (var k = 0; k < names.length; ++k) {
                var attribute = names[k].toLowerCase();
                var value = element.getAttribute(names[k]);
                if (/^on/.test(attribute) || attribute === "srcset" || attribute === "sizes" ||
                    (addressAttributes.indexOf(attribute) >= 0 && unsafeAddress(value)) ||
                    (attribute === "style" && /expression\s*\(|javascript:|behavior\s*:/i.test(value)))
                    element.removeAttribute(names[k]);
            }
        }
    }

    // A picture's address as the page shows it: the one chosen from srcset when there is one,
    // absolute, so that it can be found in the snapshot.
    function pictureAddress(live) {
        return live.currentSrc || live.src || "";
    }

    // Gives the pictures of `copy` (a clone of `live`) the addresses the live pictures show.
    function copyPictures(live, copy) {
        var shown = live.getElementsByTagName("img");
        var copied = copy.getElementsByTagName("img");
        if (shown.length !== copied.length)
            return;
        for (var i = 0; i < shown.length; ++i) {
            var address = pictureAddress(shown[i]);
            if (address)
                copied[i].setAttribute("src", address);
            copied[i].removeAttribute("srcset");
            copied[i].removeAttribute("sizes");
        }
        var sources = Array.prototype.slice.call(copy.querySelectorAll("picture > source"));
        for (var j = 0; j < sources.length; ++j)
            sources[j].parentNode.removeChild(sources[j]);
    }

    function hidden(element) {
        var style = window.getComputedStyle(element);
        if (!style)
            return false;
        return style.display === "none" || style.visibility === "hidden" || style.visibility === "collapse";
    }

    // Walks the live element and its copy together, leaving out of the copy what the page hides.
    function dropHidden(live, copy, gone) {
        var shown = live.children;
        var copied = copy.children;
        if (shown.length !== copied.length)
            return;
        for (var i = 0; i < shown.length; ++i) {
            if (hidden(shown[i]))
                gone.push(copied[i]);
            else
                dropHidden(shown[i], copied[i], gone);
        }
    }

    function inertDocument() {
        var inert = document.implementation.createHTMLDocument("");
        var base = inert.createElement("base");
        base.setAttribute("href", document.baseURI);
        inert.head.appendChild(base);
        return inert;
    }

    function serialized(root) {
        clean(root);
        return root.innerHTML;
    }

    function wholePage() {
        var copy = document.cloneNode(true);
        if (!document.body || !copy.body)
            return { part: "whole", html: "" };
        var gone = [];
        dropHidden(document.body, copy.body, gone);
        for (var i = 0; i < gone.length; ++i) {
            if (gone[i].parentNode)
                gone[i].parentNode.removeChild(gone[i]);
        }
        copyPictures(document.body, copy.body);
        return { part: "whole", html: serialized(copy.body) };
    }

    function article() {
        var copy = document.cloneNode(true);
        if (document.body && copy.body)
            copyPictures(document.body, copy.body);
        var found = null;
        try {
            found = new Readability(copy, { keepClasses: false }).parse();
        } catch (e) {
            found = null;
        }
        // Too little to be the page's text: a list of links, a login form, a picture with a caption.
        if (!found || !found.content || (found.textContent || "").replace(/\s+/g, " ").trim().length < 140)
            return wholePage();
        var holder = inertDocument().createElement("div");
        holder.innerHTML = found.content;
        // The title and byline head the article unless its own text already says them.
        var flat = function (text) { return (text || "").replace(/\s+/g, " ").trim(); };
        var said = flat(found.textContent);
        var heading = holder.querySelector("h1, h2");
        var title = flat(found.title);
        var shownTitle = heading && flat(heading.textContent) === title ? "" : title;
        var byline = flat(found.byline);
        if (byline && said.indexOf(byline) >= 0)
            byline = "";
        return { part: "article", title: title, heading: shownTitle, byline: byline, html: serialized(holder) };
    }

    function selection() {
        var chosen = window.getSelection();
        if (!chosen || chosen.rangeCount === 0 || chosen.isCollapsed || !chosen.toString().trim())
            return { part: "selection", error: "noselection" };
        var inert = inertDocument();
        var holder = inert.createElement("div");
        for (var i = 0; i < chosen.rangeCount; ++i) {
            var fragment = inert.adoptNode(chosen.getRangeAt(i).cloneContents());
            var pictures = fragment.querySelectorAll("img");
            for (var j = 0; j < pictures.length; ++j) {
                if (pictures[j].getAttribute("src"))
                    pictures[j].setAttribute("src", pictures[j].src);
            }
            holder.appendChild(fragment);
        }
        return { part: "selection", html: serialized(holder) };
    }

    var taken = part === "article" ? article() : part === "selection" ? selection() : wholePage();
    taken.pageTitle = document.title || "";
    taken.address = document.URL;
    return taken;
})
