/* Linked lists and a binary tree in a pool of nodes. */
#include <stdio.h>

struct node {
    int key;
    struct node *next;
};

struct tree {
    int key, count;
    struct tree *left, *right;
};

#define POOL 64

static struct node pool[POOL];
static struct tree trees[POOL];
static int used, used_trees;

static struct node *push(struct node *list, int key) {
    struct node *n = &pool[used++];
    n->key = key;
    n->next = list;
    return n;
}

static struct node *reverse(struct node *list) {
    struct node *done = 0;
    while (list) {
        struct node *next = list->next;
        list->next = done;
        done = list;
        list = next;
    }
    return done;
}

static struct node *merge(struct node *a, struct node *b) {
    struct node head, *tail = &head;
    head.next = 0;
    while (a && b) {
        struct node **smaller = a->key <= b->key ? &a : &b;
        tail->next = *smaller;
        tail = *smaller;
        *smaller = (*smaller)->next;
    }
    tail->next = a ? a : b;
    return head.next;
}

static struct node *merge_sort(struct node *list) {
    struct node *slow = list, *fast, *second;
    if (!list || !list->next) return list;
    for (fast = list->next; fast && fast->next; fast = fast->next->next) slow = slow->next;
    second = slow->next;
    slow->next = 0;
    return merge(merge_sort(list), merge_sort(second));
}

static struct tree *insert(struct tree *t, int key) {
    if (!t) {
        t = &trees[used_trees++];
        t->key = key;
        t->count = 1;
        t->left = t->right = 0;
    } else if (key < t->key) {
        t->left = insert(t->left, key);
    } else if (key > t->key) {
        t->right = insert(t->right, key);
    } else {
        t->count++;
    }
    return t;
}

static int depth(const struct tree *t) {
    int l, r;
    if (!t) return 0;
    l = depth(t->left);
    r = depth(t->right);
    return 1 + (l > r ? l : r);
}

int main(void) {
    struct node *list = 0, *p;
    struct tree *root = 0;
    int i, last = -1, sorted = 1;
    unsigned sum = 0;
    for (i = 0; i < 40; i++) list = push(list, (i * 17 + 5) % 41);
    list = merge_sort(reverse(list));
    for (p = list; p; p = p->next) {
        if (p->key < last) sorted = 0;
        last = p->key;
        sum = sum * 3 + (unsigned)p->key;
        root = insert(root, (p->key * 7) % 23);
    }
    printf("sorted %d sum %u nodes %d depth %d\n", sorted, sum & 0xFFFFF, used_trees, depth(root));
    return sorted ? 0 : 1;
}
